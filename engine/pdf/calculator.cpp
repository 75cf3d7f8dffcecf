#include "engine/pdf/calculator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <stdexcept>

namespace
{

constexpr size_t maximumStack = 100;
constexpr size_t maximumDepth = 64;
constexpr size_t maximumSteps = 100000;
constexpr double radiansPerDegree = std::numbers::pi / 180;

enum Operation {
    // clang-format off
    Abs, Add, And, Atan, Bitshift, Ceiling, Copy, Cos, Cvi, Cvr, Div, Dup, Eq, Exch, Exp, False, Floor, Ge, Gt,
    Idiv, Index, Le, Ln, Log, Lt, Mod, Mul, Ne, Neg, Not, Or, Pop, Roll, Round, Sin, Sqrt, Sub, True, Truncate,
    Xor, OperatorCount,
    Push, Jump, JumpIfFalse
    // clang-format on
};

constexpr std::array<std::string_view, OperatorCount> operatorNames = {
    "abs",   "add", "and",  "atan",  "bitshift", "ceiling", "copy",  "cos",  "cvi",      "cvr",
    "div",   "dup", "eq",   "exch",  "exp",      "false",   "floor", "ge",   "gt",       "idiv",
    "index", "le",  "ln",   "log",   "lt",       "mod",     "mul",   "ne",   "neg",      "not",
    "or",    "pop", "roll", "round", "sin",      "sqrt",    "sub",   "true", "truncate", "xor"};

[[noreturn]] void refuse()
{
    throw std::runtime_error("a calculator function is malformed");
}

/// `value` as an integer, whatever it is; out of range it is cut.
int64_t integer(double value)
{
    constexpr double limit = 2147483647.0;
    return std::isnan(value) ? 0 : static_cast<int64_t>(std::clamp(value, -limit, limit));
}

/// Integers divided, without what remains.
double quotient(double x, double y)
{
    const int64_t divisor = integer(y);
    const int64_t whole = divisor != 0 ? integer(x) / divisor : 0;
    return static_cast<double>(whole);
}

double shifted(double value, double by)
{
    const auto bits = static_cast<uint32_t>(integer(value));
    const int64_t count = std::clamp<int64_t>(integer(by), -32, 32);
    const uint64_t wide = bits;
    const uint64_t result =
        count >= 0 ? wide << static_cast<unsigned>(count) : wide >> static_cast<unsigned>(-count);
    return static_cast<int32_t>(static_cast<uint32_t>(result));
}

double degrees(double y, double x)
{
    const double angle = std::atan2(y, x) / radiansPerDegree;
    return angle < 0 ? angle + 360 : angle;
}

} // namespace

/// Turns text into steps. A block is compiled in place; "if" and "ifelse" become jumps around it.
class Calculator::Reader
{
public:
    explicit Reader(std::string_view source) : m_source(source) {}

    void read(Calculator &calculator)
    {
        if (next() != "{")
            refuse();
        block(calculator.m_steps, 0);
        calculator.m_body = std::move(m_body);
    }

private:
    static bool isSpace(char c)
    {
        return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\f' || c == '\0';
    }
    static bool isBrace(char c) { return c == '{' || c == '}'; }

    std::string_view next()
    {
        while (m_position < m_source.size() &&
               (isSpace(m_source[m_position]) || m_source[m_position] == '%')) {
            if (m_source[m_position] == '%')
                m_position = std::min(m_source.find_first_of("\r\n", m_position), m_source.size() - 1);
            ++m_position;
        }
        const size_t begin = m_position;
        if (begin >= m_source.size())
            refuse();
        ++m_position;
        if (!isBrace(m_source[begin])) {
            while (m_position < m_source.size() && !isSpace(m_source[m_position]) &&
                   !isBrace(m_source[m_position]) && m_source[m_position] != '%')
                ++m_position;
        }
        return m_source.substr(begin, m_position - begin);
    }

    void note(std::string_view token)
    {
        if (!m_body.empty())
            m_body += ' ';
        m_body += token;
    }

    void block(std::vector<Step> &steps, size_t depth)
    {
        if (depth > maximumDepth)
            refuse();
        for (std::string_view token = next(); token != "}"; token = next()) {
            note(token);
            if (token == "{")
                condition(steps, depth);
            else
                steps.push_back(step(token));
            if (steps.size() > maximumSteps)
                refuse();
        }
    }

    void condition(std::vector<Step> &steps, size_t depth)
    {
        const size_t branch = steps.size();
        steps.push_back({JumpIfFalse, 0, 0, false});
        block(steps, depth + 1);
        note("}");
        std::string_view token = next();
        note(token);
        if (token == "{") {
            const size_t end = steps.size();
            steps.push_back({Jump, 0, 0, false});
            steps[branch].target = steps.size();
            block(steps, depth + 1);
            note("}");
            steps[end].target = steps.size();
            token = next();
            note(token);
            if (token != "ifelse")
                refuse();
            return;
        }
        if (token != "if")
            refuse();
        steps[branch].target = steps.size();
    }

    static Step step(std::string_view token)
    {
        if (token == "true" || token == "false")
            return {Push, token == "true" ? 1.0 : 0.0, 0, true};
        const auto found = std::find(operatorNames.begin(), operatorNames.end(), token);
        if (found != operatorNames.end())
            return {static_cast<int>(found - operatorNames.begin()), 0, 0, false};
        try {
            size_t used = 0;
            const double number = std::stod(std::string(token), &used);
            if (used == token.size() && std::isfinite(number))
                return {Push, number, 0, false};
        } catch (const std::logic_error &) {
            // refused below
        }
        refuse();
    }

    std::string_view m_source;
    size_t m_position = 0;
    std::string m_body;
};

class Calculator::Machine
{
public:
    void push(double number, bool isBoolean = false)
    {
        if (m_size >= maximumStack)
            refuse();
        m_stack[m_size++] = {number, isBoolean};
    }

    double pop() { return take().number; }

    void apply(int operation)
    {
        if (operation == Dup || operation == Exch || operation == Pop || operation == Copy ||
            operation == Index || operation == Roll)
            rearrange(operation);
        else if (isUnary(operation))
            unary(operation);
        else
            binary(operation);
    }

private:
    struct Value {
        double number;
        bool isBoolean;
    };

    static bool isUnary(int operation)
    {
        constexpr std::array unaries = {Abs, Ceiling, Cos, Cvi,   Cvr, Floor, Ln,
                                        Log, Neg,     Not, Round, Sin, Sqrt,  Truncate};
        return std::find(unaries.begin(), unaries.end(), operation) != unaries.end();
    }

    Value take()
    {
        if (m_size == 0)
            refuse();
        return m_stack[--m_size];
    }

    size_t takeCount(size_t maximum)
    {
        const int64_t count = integer(pop());
        if (count < 0 || static_cast<size_t>(count) > maximum)
            refuse();
        return static_cast<size_t>(count);
    }

    void rearrange(int operation)
    {
        if (operation == Pop) {
            take();
        } else if (operation == Dup) {
            const Value value = take();
            m_stack[m_size++] = value;
            push(value.number, value.isBoolean);
        } else if (operation == Exch) {
            if (m_size < 2)
                refuse();
            std::swap(m_stack[m_size - 1], m_stack[m_size - 2]);
        } else if (operation == Copy) {
            const size_t count = takeCount(maximumStack);
            if (count > m_size || m_size + count > maximumStack)
                refuse();
            std::copy_n(m_stack.begin() + static_cast<ptrdiff_t>(m_size - count), count,
                        m_stack.begin() + static_cast<ptrdiff_t>(m_size));
            m_size += count;
        } else if (operation == Index) {
            const size_t count = takeCount(maximumStack);
            if (count >= m_size)
                refuse();
            const Value value = m_stack[m_size - 1 - count];
            push(value.number, value.isBoolean);
        } else {
            roll();
        }
    }

    void roll()
    {
        const int64_t turns = integer(pop());
        const size_t count = takeCount(maximumStack);
        if (count > m_size)
            refuse();
        if (count == 0)
            return;
        const auto size = static_cast<int64_t>(count);
        const auto end = m_stack.begin() + static_cast<ptrdiff_t>(m_size);
        std::rotate(end - size, end - ((turns % size + size) % size), end);
    }

    void unary(int operation)
    {
        const Value value = take();
        const double x = value.number;
        switch (operation) {
        case Abs:
            return push(std::fabs(x));
        case Ceiling:
            return push(std::ceil(x));
        case Cos:
            return push(std::cos(x * radiansPerDegree));
        case Cvi:
        case Truncate:
            return push(std::trunc(x));
        case Floor:
            return push(std::floor(x));
        case Ln:
            return push(x > 0 ? std::log(x) : 0);
        case Log:
            return push(x > 0 ? std::log10(x) : 0);
        case Neg:
            return push(-x);
        case Not:
            return value.isBoolean ? push(x != 0 ? 0 : 1, true) : push(static_cast<double>(~integer(x)));
        case Round:
            return push(std::floor(x + 0.5));
        case Sin:
            return push(std::sin(x * radiansPerDegree));
        case Sqrt:
            return push(x > 0 ? std::sqrt(x) : 0);
        default:
            return push(x);
        }
    }

    void binary(int operation)
    {
        const Value second = take();
        const Value first = take();
        const double x = first.number;
        const double y = second.number;
        const bool booleans = first.isBoolean && second.isBoolean;
        switch (operation) {
        case Add:
            return push(x + y);
        case Sub:
            return push(x - y);
        case Mul:
            return push(x * y);
        case Div:
            return push(y != 0 ? x / y : 0);
        case Idiv:
            return push(quotient(x, y));
        case Mod:
            return push(integer(y) != 0 ? static_cast<double>(integer(x) % integer(y)) : 0);
        case Exp:
            return push(std::pow(x, y));
        case Atan:
            return push(degrees(x, y));
        case Bitshift:
            return push(shifted(x, y));
        case And:
            return push(static_cast<double>(integer(x) & integer(y)), booleans);
        case Or:
            return push(static_cast<double>(integer(x) | integer(y)), booleans);
        case Xor:
            return push(static_cast<double>(integer(x) ^ integer(y)), booleans);
        case Eq:
            return push(x == y ? 1 : 0, true);
        case Ne:
            return push(x != y ? 1 : 0, true);
        case Lt:
            return push(x < y ? 1 : 0, true);
        case Le:
            return push(x <= y ? 1 : 0, true);
        case Gt:
            return push(x > y ? 1 : 0, true);
        case Ge:
            return push(x >= y ? 1 : 0, true);
        default:
            refuse();
        }
    }

    std::array<Value, maximumStack> m_stack;
    size_t m_size = 0;
};

Calculator::Calculator(std::string_view source)
{
    Reader(source).read(*this);
}

void Calculator::run(std::span<const double> inputs, std::span<double> outputs) const
{
    Machine machine;
    for (const double input : inputs)
        machine.push(input);
    for (size_t at = 0; at < m_steps.size(); ++at) {
        const Step &step = m_steps[at];
        if (step.operation == Push)
            machine.push(step.number, step.isBoolean);
        else if (step.operation == Jump)
            at = step.target - 1;
        else if (step.operation == JumpIfFalse)
            at = machine.pop() != 0 ? at : step.target - 1;
        else
            machine.apply(step.operation);
    }
    for (size_t i = outputs.size(); i-- > 0;)
        outputs[i] = machine.pop();
}
