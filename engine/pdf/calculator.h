#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// A program of a PostScript calculator function (ISO 32000-1, 7.10.5): arithmetic on a stack, no loops.
class Calculator
{
public:
    /// Reads a program with its braces. Throws std::runtime_error if it is none.
    explicit Calculator(std::string_view source);

    /// Runs the program on a stack that holds `inputs` and puts what lies on top at the end into `outputs`,
    /// the topmost last. Throws std::runtime_error if the stack runs empty or over 100 values.
    void run(std::span<const double> inputs, std::span<double> outputs) const;

    /// The program as text, without its outer braces and comments.
    const std::string &body() const { return m_body; }

private:
    struct Step {
        /// An entry of the operator table, or one of the special ones below.
        int operation;
        double number;  ///< of a push
        size_t target;  ///< of a jump
        bool isBoolean; ///< of a push
    };

    class Reader;
    class Machine;

    std::vector<Step> m_steps;
    std::string m_body;
};
