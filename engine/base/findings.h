#pragma once

#include <string>
#include <vector>

/// What is known of a job beside its PDF.
struct Findings {
    /// What the PDF lacks of what the page means, for people, a line each; in UTF-8.
    std::vector<std::string> warnings = {};
    /// The document's own, after redirects; empty if none was loaded.
    std::string address = {};
    /// Members of the report's JSON object, without its braces; empty if no report is asked for.
    std::string report = {};
};
