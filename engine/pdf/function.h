#pragma once

#include <qpdf/QPDFObjectHandle.hh>

#include <memory>
#include <span>
#include <string_view>
#include <vector>

/// An interval of numbers, such as one pair of a /Domain, /Range, /Encode or /Decode array.
struct Interval {
    double from = 0;
    double to = 1;

    double clip(double value) const;
    /// Where `value` of this interval comes to lie in `other`, linearly; an empty interval gives other.from.
    double mapped(double value, Interval other) const;
};

/// The pairs of a number array. Throws std::runtime_error if it is none; empty if `array` is null.
std::vector<Interval> intervals(const QPDFObjectHandle &array);

/// A function object (ISO 32000-1, 7.10) of type 0, 2, 3 or 4.
class Function
{
public:
    virtual ~Function() = default;

    /// Reads a function object; or an array of functions of one output each, which together are one function
    /// of as many outputs, as shadings have them. Throws std::runtime_error if it is malformed, nests deeper
    /// than 16, is made of more than 4096 functions, or has more than 32 outputs.
    static std::shared_ptr<const Function> read(const QPDFObjectHandle &object);

    /// What is left of these bounds while a function is read.
    struct Budget {
        int depth = 16;
        int functions = 4096;
    };
    /// As read(), for a part of a function.
    static std::shared_ptr<const Function> readPart(QPDFObjectHandle object, Budget &budget);

    size_t inputs() const { return m_domain.size(); }
    size_t outputs() const { return m_outputs; }
    const std::vector<Interval> &domain() const { return m_domain; }

    /// `in` has inputs() numbers, `out` outputs(). Clips both as the clause says.
    void evaluate(std::span<const double> in, std::span<double> out) const;

protected:
    Function() = default;
    virtual void compute(std::span<const double> in, std::span<double> out) const = 0;

    std::vector<Interval> m_domain;
    std::vector<Interval> m_range;
    size_t m_outputs = 0;

private:
    static std::shared_ptr<const Function> readSingle(QPDFObjectHandle object, Budget &budget);
};

/// The samples of a function of type 0, decoded.
struct SampleTable {
    std::vector<int> size; ///< samples for each input
    std::vector<Interval> encode;
    size_t outputs = 0;
    std::vector<double> samples; ///< the first input varies fastest, the outputs of one point lie together

    /// Throws std::runtime_error if the table is malformed or holds more than 16 million numbers.
    static SampleTable read(QPDFObjectHandle stream);
};
