#include "engine/base/spool.h"

#include "engine/base/text.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>

namespace
{

[[noreturn]] void refuse(const std::string &folder, int error)
{
    throw SpoolError(onOneLine("no temporary file can be written in " + folder + ": " + strerror(error) +
                               "; set TMPDIR to a folder with more room"));
}

Descriptor namelessFile(const std::string &folder)
{
#ifdef O_TMPFILE
    if (Descriptor file{::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR)})
        return file;
#endif
    // Not every file system has files without names.
    std::string path = folder + "/quirelle-XXXXXX";
    Descriptor file(::mkstemp(path.data()));
    if (file) {
        ::unlink(path.c_str());
        ::fcntl(file.get(), F_SETFD, FD_CLOEXEC);
    }
    return file;
}

} // namespace

Spool::Spool(const std::string &folder) : m_folder(folder), m_file(namelessFile(folder))
{
    if (!m_file)
        refuse(m_folder, errno);
}

Spool::Piece Spool::append(std::string_view bytes)
{
    const std::lock_guard lock(m_mutex);
    const Piece piece{m_size, bytes.size()};
    while (!bytes.empty()) {
        const ssize_t count = ::pwrite(m_file.get(), bytes.data(), bytes.size(), static_cast<off_t>(m_size));
        if (count < 0 && errno != EINTR)
            refuse(m_folder, errno);
        if (count > 0) {
            bytes.remove_prefix(static_cast<size_t>(count));
            m_size += static_cast<std::uint64_t>(count);
        }
    }
    return piece;
}

std::string Spool::read(const Piece &piece) const
{
    std::string bytes(piece.size, '\0');
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t count = ::pread(m_file.get(), bytes.data() + done, bytes.size() - done,
                                      static_cast<off_t>(piece.offset + done));
        if (count == 0 || (count < 0 && errno != EINTR))
            refuse(m_folder, count == 0 ? EIO : errno);
        if (count > 0)
            done += static_cast<size_t>(count);
    }
    return bytes;
}
