#pragma once

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <string>
#include <unistd.h>
#include <utility>

/// Owns a file descriptor and closes it in its destructor. The engine keeps every descriptor in one of these;
/// a plain int is borrowed.
class Descriptor
{
public:
    Descriptor() = default;
    /// Takes ownership of what a system call has returned; a negative number is no descriptor.
    explicit Descriptor(int number) : m_number(number) {}
    Descriptor(Descriptor &&other) noexcept : m_number(other.release()) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        reset(other.release());
        return *this;
    }
    ~Descriptor() { reset(); }

    explicit operator bool() const { return m_number >= 0; }
    /// -1 for none.
    int get() const { return m_number; }
    /// Gives up ownership without closing.
    [[nodiscard]] int release() { return std::exchange(m_number, -1); }
    /// Closes the descriptor and takes ownership of `number`. Preserves errno, so that a failed call can be
    /// reported after it.
    void reset(int number = -1)
    {
        const int error = errno;
        if (m_number >= 0)
            ::close(m_number);
        m_number = number;
        errno = error;
    }

private:
    int m_number = -1;
};

struct Pipe {
    Descriptor readEnd;
    Descriptor writeEnd;
};

/// A pipe with close-on-exec ends numbered `lowest` or higher; nullopt, with errno set, on failure.
inline std::optional<Pipe> makePipe(int lowest = 0)
{
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0)
        return std::nullopt;
    const Pipe made{Descriptor(ends[0]), Descriptor(ends[1])};
    Pipe pipe{Descriptor(::fcntl(ends[0], F_DUPFD_CLOEXEC, lowest)),
              Descriptor(::fcntl(ends[1], F_DUPFD_CLOEXEC, lowest))};
    if (!pipe.readEnd || !pipe.writeEnd)
        return std::nullopt;
    return pipe;
}

/// Whether `path` now names the open file or folder `descriptor`.
inline bool isFileAt(int descriptor, const std::string &path)
{
    struct stat held {
    };
    struct stat there {
    };
    return ::fstat(descriptor, &held) == 0 && ::lstat(path.c_str(), &there) == 0 &&
           held.st_dev == there.st_dev && held.st_ino == there.st_ino;
}

/// Closes all descriptors of this process from `first` on.
inline void closeDescriptorsFrom(int first)
{
#ifdef __linux__
    ::close_range(static_cast<unsigned>(first), ~0U, 0);
#else
    for (int descriptor = first; descriptor < ::getdtablesize(); ++descriptor)
        ::close(descriptor);
#endif
}
