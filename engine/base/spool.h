#pragma once

#include "engine/base/descriptor.h"

#include <cstdint>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>

/// Why something cannot be stored for the time being, on one line and in UTF-8, with what to do.
class SpoolError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// A temporary file without a name, so that nothing is left of it however the process ends. Usable by several
/// threads.
class Spool
{
public:
    /// A part of the file.
    struct Piece {
        std::uint64_t offset = 0;
        size_t size = 0;
    };

    /// Makes it in `folder`. Throws SpoolError.
    explicit Spool(const std::string &folder);

    /// Appends `bytes`. Throws SpoolError.
    Piece append(std::string_view bytes);
    /// Throws SpoolError.
    std::string read(const Piece &piece) const;
    std::uint64_t size() const { return m_size; }

private:
    std::string m_folder;
    Descriptor m_file;
    std::mutex m_mutex;
    std::uint64_t m_size = 0;
};
