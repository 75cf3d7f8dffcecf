#include "engine/base/output.h"

#include "engine/base/descriptor.h"
#include "engine/base/kernelfiles.h"
#include "engine/base/text.h"

#include <sys/stat.h>
#ifdef __linux__
#include <sys/xattr.h>
#else
#include <sys/random.h>
#endif

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <optional>
#include <poll.h>
#include <string>

namespace
{

#ifdef O_PATH
constexpr int referenceOnly = O_PATH;
#else
constexpr int referenceOnly = O_RDONLY;
#endif
constexpr mode_t allPermissions = S_IRWXU | S_IRWXG | S_IRWXO;
/// The kernel's own maximum.
constexpr int maximumLinks = 40;

bool isStandardOutput(const std::string &path)
{
    return path == "-" || path == "/dev/stdout";
}

[[noreturn]] void refuse(const std::string &path, const std::string &reason)
{
    throw OutputError(onOneLine(path + " cannot be written: " + reason));
}

/// With the system's reason, and what to do.
[[noreturn]] void refuseWithError(const std::string &path, int error, const std::string &remedy)
{
    const std::string reason = error == EACCES ? "permission denied" : strerror(error);
    refuse(path, reason + "; " + remedy);
}

void checkStandardOutput()
{
    const int mode = ::fcntl(STDOUT_FILENO, F_GETFL);
    if (mode < 0 || (mode & O_ACCMODE) == O_RDONLY)
        refuse("standard output", "it is closed");
    if (::isatty(STDOUT_FILENO) == 1)
        refuse("standard output", "it is a terminal; name a file, or send it on with > or |");
}

/// Writes all of it; false, with errno, if that fails.
bool writeAll(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<size_t>(written));
        } else if (errno == EAGAIN) {
            pollfd output{descriptor, POLLOUT, 0};
            ::poll(&output, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

/// A name in a folder, and the file that has it now.
struct Place {
    /// Ends with a slash.
    std::string folderPath;
    Descriptor folder;
    std::string name;
    /// Of the existing file, if there is one.
    std::optional<struct stat> older;
    /// On Linux the same file even if the name is reused meanwhile, opened neither for reading nor writing.
    Descriptor olderFile;

    bool isLink() const { return older && S_ISLNK(older->st_mode); }
};

std::string absolute(const std::string &path)
{
    std::array<char, PATH_MAX> folder{};
    const bool isRelative = !path.starts_with('/') && ::getcwd(folder.data(), folder.size());
    const std::string below = path.starts_with("./") ? path.substr(2) : path;
    std::string text = isRelative ? folder.data() + ('/' + below) : path;
    while (text.size() > 1 && text.ends_with('/'))
        text.pop_back();
    return text;
}

/// What is at `file`, not followed if it is a link. Throws, naming `shown`, if that cannot be read.
Place lookAt(const std::string &file, const std::string &shown)
{
    const size_t slash = file.rfind('/');
    Place place;
    place.folderPath = slash == std::string::npos ? "./" : file.substr(0, slash + 1);
    place.name = slash == std::string::npos ? file : file.substr(slash + 1);
    if (place.name.empty())
        refuse(shown, "it is a folder; name a file in it");
    place.folder.reset(::open(place.folderPath.c_str(), referenceOnly | O_DIRECTORY | O_CLOEXEC));
    if (!place.folder && (errno == ENOENT || errno == ENOTDIR))
        refuse(shown, "there is no folder " + absolute(place.folderPath) + "; make it first");
    if (!place.folder)
        refuseWithError(shown, errno, "choose another folder");
    struct stat info {
    };
#ifdef O_PATH
    place.olderFile.reset(::openat(place.folder.get(), place.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    const bool found = place.olderFile && ::fstat(place.olderFile.get(), &info) == 0;
#else
    const bool found = ::fstatat(place.folder.get(), place.name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
#endif
    if (found)
        place.older = info;
    else if (errno == ENAMETOOLONG)
        refuseWithError(shown, errno, "choose a shorter name");
    else if (errno != ENOENT)
        refuseWithError(shown, errno, "choose another folder");
    return place;
}

/// Where the link at `place` leads.
std::string targetOf(const Place &place, const std::string &shown)
{
    std::array<char, PATH_MAX> target{};
#ifdef O_PATH
    const ssize_t size = ::readlinkat(place.olderFile.get(), "", target.data(), target.size());
#else
    const ssize_t size = ::readlinkat(place.folder.get(), place.name.c_str(), target.data(), target.size());
#endif
    if (size < 0)
        refuseWithError(shown, errno, "remove it, or choose another name");
    const std::string text(target.data(), static_cast<size_t>(size));
    return text.starts_with('/') ? text : place.folderPath + text;
}

/// Where a file of this name is to be written, with all links followed.
Place placeOf(const std::string &path)
{
    Place place = lookAt(path, path);
    for (int links = 0; place.isLink() && !isKernelFile(place.folder.get()); ++links) {
        // Another user could redirect the output to a file of this user.
        if (place.older->st_uid != ::geteuid() && place.older->st_uid != 0)
            refuse(path, "it is another user's link; choose another name");
        if (links == maximumLinks)
            refuseWithError(path, ELOOP, "remove it, or choose another name");
        place = lookAt(targetOf(place, path), path);
    }
    return place;
}

/// Whether the folder is sticky, so that files are replaced only by their owners, and the older file belongs
/// to another user.
bool belongsToAnother(const Place &place, const struct stat &folder)
{
    const uid_t user = ::geteuid();
    return place.older && (folder.st_mode & S_ISVTX) != 0 && user != 0 && user != folder.st_uid &&
           user != place.older->st_uid;
}

/// Throws if no file can be written there.
void check(const Place &place, const std::string &path)
{
    if (place.older && S_ISDIR(place.older->st_mode))
        refuse(path, "it is a folder; name a file in it");
    if ((place.older && !S_ISREG(place.older->st_mode)) || isKernelFile(place.folder.get()))
        refuse(path, "it is no ordinary file; choose another name");
    if (::faccessat(place.folder.get(), ".", W_OK | X_OK, AT_EACCESS) != 0)
        refuseWithError(path, errno, "choose another folder");
    struct stat folder {
    };
    if (::fstat(place.folder.get(), &folder) != 0 || belongsToAnother(place, folder))
        refuse(path, "it belongs to another user; choose another name");
    if (place.older && ::faccessat(place.folder.get(), place.name.c_str(), W_OK, AT_EACCESS) != 0)
        refuseWithError(path, errno, "choose another name");
}

/// The permissions that the umask leaves a new file.
mode_t defaultPermissions()
{
    const mode_t withheld = ::umask(0);
    ::umask(withheld);
    return (S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH) & ~withheld;
}

/// Gives the file `made` the access control list of `older`, or none if it has none; false if that fails.
bool copyAccessList([[maybe_unused]] int made, [[maybe_unused]] int older)
{
#ifdef __linux__
    constexpr char list[] = "system.posix_acl_access";
    constexpr size_t maximumSize = 1 << 16;
    std::string content(maximumSize, '\0');
    const std::string file = "/proc/self/fd/" + std::to_string(older);
    const ssize_t size = ::getxattr(file.c_str(), list, content.data(), content.size());
    if (size > 0)
        return ::fsetxattr(made, list, content.data(), static_cast<size_t>(size), 0) == 0;
    if (errno != ENODATA && errno != EOPNOTSUPP)
        return false;
    // A default list of the folder may have been applied.
    return ::fremovexattr(made, list) == 0 || errno == ENODATA || errno == EOPNOTSUPP;
#else
    return true;
#endif
}

/// Gives the file `made` the permissions of the older file if this user owns that. An older file of another
/// user, or one with several hard links, must not make the PDF more accessible than the umask does.
bool setPermissions(int made, const Place &place)
{
    struct stat info {
    };
    if (::fstat(made, &info) != 0)
        return false;
    if (!place.older || place.older->st_uid != ::geteuid())
        return ::fchmod(made, defaultPermissions()) == 0;
    mode_t mode = place.older->st_mode & allPermissions;
    if (place.older->st_nlink != 1)
        mode &= defaultPermissions();
    // Group permissions are kept only together with the group and the access list that they refer to.
    const bool sameGroup = info.st_gid == place.older->st_gid ||
                           ::fchown(made, static_cast<uid_t>(-1), place.older->st_gid) == 0;
    if (!sameGroup || !copyAccessList(made, place.olderFile.get()))
        mode &= ~static_cast<mode_t>(S_IRWXG);
    return ::fchmod(made, mode) == 0;
}

/// A new file in the folder of a place. It has no name until it is complete, where the system allows that
/// (O_TMPFILE), so a killed process leaves no temporary file behind.
class NewFile
{
public:
    NewFile(const Place &place, const std::string &path) : m_folder(place.folder.get()), m_path(path)
    {
#ifdef O_TMPFILE
        // link() below goes through /proc.
        if (::access("/proc/self/fd", X_OK) == 0)
            m_file.reset(::openat(m_folder, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, S_IRUSR | S_IWUSR));
#endif
        if (!m_file) {
            m_name = newName();
            m_file.reset(::openat(m_folder, m_name.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC,
                                  S_IRUSR | S_IWUSR));
        }
        if (!m_file) {
            m_name.clear();
            refuseWithError(path, errno, "choose another folder");
        }
    }
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;
    ~NewFile()
    {
        if (!m_name.empty())
            ::unlinkat(m_folder, m_name.c_str(), 0);
    }

    void write(std::string_view bytes, const Place &place)
    {
        require(setPermissions(m_file.get(), place) && writeAll(m_file.get(), bytes));
    }

    void moveTo(const Place &place)
    {
        if (!place.older && m_name.empty() && link(place.name))
            return;
        // Only before replacing an older file: fsync is slow.
        require(!place.older || ::fsync(m_file.get()) == 0);
        if (m_name.empty()) {
            const std::string name = newName();
            require(link(name));
            m_name = name;
        }
        require(::renameat(m_folder, m_name.c_str(), m_folder, place.name.c_str()) == 0);
        m_name.clear();
    }

private:
    /// Not derived from the output's name, which may already have the maximum length.
    static std::string newName()
    {
        std::array<char, 32> name{};
        unsigned long long number = 0;
        [[maybe_unused]] const int failed = ::getentropy(&number, sizeof(number));
        std::snprintf(name.data(), name.size(), ".quirelle-%016llx", number);
        return name.data();
    }

    /// False, with errno set, if that fails: because the name is taken by now, for example.
    bool link(const std::string &name) const
    {
        const std::string file = "/proc/self/fd/" + std::to_string(m_file.get());
        return ::linkat(AT_FDCWD, file.c_str(), m_folder, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
    }

    void require(bool done) const
    {
        if (!done)
            refuseWithError(m_path, errno, "choose another folder");
    }

    int m_folder;
    std::string m_path;
    Descriptor m_file;
    /// Empty for none.
    std::string m_name;
};

} // namespace

void checkOutput(const std::string &path)
{
    if (isStandardOutput(path))
        checkStandardOutput();
    else
        check(placeOf(path), path);
}

void writeOutput(const std::string &path, std::string_view bytes)
{
    if (isStandardOutput(path)) {
        if (!writeAll(STDOUT_FILENO, bytes))
            refuse("standard output", strerror(errno));
        return;
    }
    // Checked again: the folder may have changed since the job began.
    const Place place = placeOf(path);
    check(place, path);
    NewFile file(place, path);
    file.write(bytes, place);
    file.moveTo(place);
}
