#pragma once

#include <stdexcept>

/// Thrown by an edit at something in a sound PDF that it is not made for: "the browser wrote …, which …:
/// convert without --option". Every browser prints it again, so a retry does not help. All other exceptions
/// of edits are damaged PDFs.
class Refusal : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};
