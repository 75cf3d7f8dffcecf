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

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <functional>
#include <optional>
#include <poll.h>
#include <string>

namespace
{

#ifdef O_PATH
constexpr int toPointAt = O_PATH;
#else
constexpr int toPointAt = O_RDONLY;
#endif
constexpr mode_t allPermissions = S_IRWXU | S_IRWXG | S_IRWXO;
/// As many as systems follow.
constexpr int maximumLinks = 40;

bool isStandardOutput(const std::string &path)
{
    return path == "-" || path == "/dev/stdout";
}

[[noreturn]] void refuse(const std::string &path, const std::string &reason)
{
    throw OutputError(onOneLine(path + " cannot be written: " + reason));
}

/// The system's reason, and what to do.
[[noreturn]] void refuseFor(const std::string &path, int error, const std::string &remedy)
{
    const std::string reason = error == EACCES ? "permission denied" : strerror(error);
    refuse(path, reason + "; " + (error == EMFILE ? "allow more open files (ulimit -n)" : remedy));
}

void checkStandardOutput()
{
    const int mode = ::fcntl(STDOUT_FILENO, F_GETFL);
    if (mode < 0 || (mode & O_ACCMODE) == O_RDONLY)
        refuse("standard output", "it is closed");
    if (::isatty(STDOUT_FILENO) == 1)
        refuse("standard output", "it is a terminal; name a file, or send it on with > or |");
}

/// Takes the content of a file piece by piece.
using Taker = std::function<void(std::string_view bytes)>;
/// Gives a taker all of it.
using Content = std::function<void(const Taker &take)>;

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

/// A name in a folder, and what lies there.
struct Place {
    /// Ends with a slash.
    std::string folderPath;
    Descriptor folder;
    std::string name;
    /// One file's owner, kind and permissions, read at once: whatever happens to the name, they belong
    /// together.
    std::optional<struct stat> older;
    /// On Linux the same file, not opened for reading or writing.
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

/// Looks for `name` in the place's folder, not followed if it is a link. False, with errno, if that cannot be
/// told; nothing of that name is no error.
bool look(Place &place, const std::string &name)
{
    place.name = name;
    place.older.reset();
    struct stat info {
    };
#ifdef O_PATH
    place.olderFile.reset(::openat(place.folder.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    const bool found = place.olderFile && ::fstat(place.olderFile.get(), &info) == 0;
#else
    const bool found = ::fstatat(place.folder.get(), name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
#endif
    if (found)
        place.older = info;
    return found || errno == ENOENT;
}

/// Goes to another folder, or with `name` into a folder of this one; false, with errno, if that cannot be.
bool enter(Place &place, const char *name)
{
    // The kernel's own links lead where no path may.
    const bool follows = place.folder && isKernelFile(place.folder.get());
    const int from = place.folder ? place.folder.get() : AT_FDCWD;
    Descriptor folder(::openat(from, name, toPointAt | O_DIRECTORY | O_CLOEXEC | (follows ? 0 : O_NOFOLLOW)));
    if (!folder)
        return false;
    place.folder = std::move(folder);
    return true;
}

/// Whether the link at `place` may have been put there by somebody to lead this user astray.
bool isPlanted(const Place &place, bool isLast)
{
    const uid_t owner = place.older->st_uid;
    if (owner == ::geteuid() || owner == 0)
        return false;
    struct stat folder {
    };
    // On the way: as the kernel has it, but for all folders that several may write.
    return isLast || ::fstat(place.folder.get(), &folder) != 0 ||
           (owner != folder.st_uid && (folder.st_mode & (S_IWGRP | S_IWOTH)) != 0);
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
        refuseFor(shown, errno, "remove it, or choose another name");
    return {target.data(), static_cast<size_t>(size)};
}

/// Where a file of this name is to be written: behind all links. Each folder on the way is held while the
/// next is looked for, so that nobody can put a link there in between.
Place placeOf(const std::string &path)
{
    Place place;
    std::string rest = path;
    const auto begin = [&] {
        place.folderPath = rest.starts_with('/') ? "/" : place.folderPath.empty() ? "./" : place.folderPath;
        if ((rest.starts_with('/') || !place.folder) && !enter(place, place.folderPath.c_str()))
            refuseFor(path, errno, "choose another folder");
        rest.erase(0, std::min(rest.find_first_not_of('/'), rest.size()));
    };
    const auto noFolder = [&](const std::string &name) {
        const std::string whole = place.folderPath + name + rest;
        refuse(path,
               "there is no folder " + absolute(whole.substr(0, whole.rfind('/') + 1)) + "; make it first");
    };
    begin();
    for (int links = 0;;) {
        const size_t end = std::min(rest.find('/'), rest.size());
        const std::string name = rest.substr(0, end);
        rest.erase(0, end);
        const bool isLast = rest.empty();
        if (name.empty())
            refuse(path, "it is a folder; name a file in it");
        if (!look(place, name))
            refuseFor(path, errno,
                      isLast && errno == ENAMETOOLONG ? "choose a shorter name" : "choose another folder");
        if (place.isLink() && !isKernelFile(place.folder.get())) {
            if (isPlanted(place, isLast))
                refuse(path, "it is another user's link; choose another name");
            if (++links > maximumLinks)
                refuseFor(path, ELOOP, "remove it, or choose another name");
            rest.insert(0, targetOf(place, path));
            begin();
        } else if (isLast) {
            return place;
        } else {
            if (!enter(place, name.c_str())) {
                if (errno == ENOENT || errno == ENOTDIR)
                    noFolder(name);
                refuseFor(path, errno, "choose another folder");
            }
            place.folderPath += name + '/';
            rest.erase(0, std::min(rest.find_first_not_of('/'), rest.size()));
        }
    }
}

/// Whether the folder lets its files be replaced only by their owners, and the older one has another.
bool belongsToAnother(const Place &place, const struct stat &folder)
{
    const uid_t user = ::geteuid();
    return place.older && (folder.st_mode & S_ISVTX) != 0 && user != 0 && user != folder.st_uid &&
           user != place.older->st_uid;
}

/// Throws if it can be told that no file can be put there.
void check(const Place &place, const std::string &path)
{
    if (place.older && S_ISDIR(place.older->st_mode))
        refuse(path, "it is a folder; name a file in it");
    if ((place.older && !S_ISREG(place.older->st_mode)) || isKernelFile(place.folder.get()))
        refuse(path, "it is no ordinary file; choose another name");
    if (::faccessat(place.folder.get(), ".", W_OK | X_OK, AT_EACCESS) != 0)
        refuseFor(path, errno, "choose another folder");
    struct stat folder {
    };
    if (::fstat(place.folder.get(), &folder) != 0 || belongsToAnother(place, folder))
        refuse(path, "it belongs to another user; choose another name");
    if (place.older && ::faccessat(place.folder.get(), place.name.c_str(), W_OK, AT_EACCESS) != 0)
        refuseFor(path, errno, "choose another name");
}

/// The permissions of a file that a program makes without asking for any.
mode_t usualPermissions()
{
    const mode_t withheld = ::umask(0);
    ::umask(withheld);
    return (S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH) & ~withheld;
}

/// Gives the file `made` the access list of `older`, or none if that has none; false if it is not known
/// whether they are the same.
bool takeOverAccessList([[maybe_unused]] int made, [[maybe_unused]] int older)
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
    // The folder may have given it one.
    return ::fremovexattr(made, list) == 0 || errno == ENODATA || errno == EOPNOTSUPP;
#else
    return true;
#endif
}

/// Gives the file `made` the permissions of the older one if that is this user's own. What other users have
/// put there, or have lent another name, opens nothing.
bool setPermissions(int made, const Place &place)
{
    struct stat info {
    };
    if (::fstat(made, &info) != 0)
        return false;
    if (!place.older || place.older->st_uid != ::geteuid())
        return ::fchmod(made, usualPermissions()) == 0;
    mode_t mode = place.older->st_mode & allPermissions;
    if (place.older->st_nlink != 1)
        mode &= usualPermissions();
    // What the group may do is said of that group, and with an access list of those who stand in it.
    const bool sameGroup = info.st_gid == place.older->st_gid ||
                           ::fchown(made, static_cast<uid_t>(-1), place.older->st_gid) == 0;
    if (!sameGroup || !takeOverAccessList(made, place.olderFile.get()))
        mode &= ~static_cast<mode_t>(S_IRWXG);
    return ::fchmod(made, mode) == 0;
}

/// A file in the folder of a place, without a name for as long as possible: what has none is not left behind
/// by a process that is killed.
class NewFile
{
public:
    NewFile(const Place &place, const std::string &path) : m_folder(place.folder.get()), m_path(path)
    {
#ifdef O_TMPFILE
        // What has no name gets one through /proc.
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
            refuseFor(path, errno, "choose another folder");
        }
    }
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;
    ~NewFile()
    {
        if (!m_name.empty())
            ::unlinkat(m_folder, m_name.c_str(), 0);
    }

    void write(const Content &content, const Place &place)
    {
        require(setPermissions(m_file.get(), place));
        content([this](std::string_view bytes) { require(writeAll(m_file.get(), bytes)); });
    }

    void moveTo(const Place &place)
    {
        if (!place.older && m_name.empty() && link(place.name))
            return;
        // The older file gives way only when the new one has come to the disk, which takes a while.
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
    /// Not made of the output's name, which may be as long as names can be.
    static std::string newName()
    {
        std::array<char, 32> name{};
        unsigned long long number = 0;
        [[maybe_unused]] const int failed = ::getentropy(&number, sizeof(number));
        std::snprintf(name.data(), name.size(), ".quirelle-%016llx", number);
        return name.data();
    }

    /// False, with errno, if it cannot get this name: there is such a file by now, for example.
    bool link(const std::string &name) const
    {
        const std::string file = "/proc/self/fd/" + std::to_string(m_file.get());
        return ::linkat(AT_FDCWD, file.c_str(), m_folder, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
    }

    void require(bool done) const
    {
        if (!done)
            refuseFor(m_path, errno, "choose another folder");
    }

    int m_folder;
    std::string m_path;
    Descriptor m_file;
    /// Empty for none.
    std::string m_name;
};

void writeContent(const std::string &path, const Content &content)
{
    if (isStandardOutput(path)) {
        content([](std::string_view bytes) {
            if (!writeAll(STDOUT_FILENO, bytes))
                refuse("standard output", strerror(errno));
        });
        return;
    }
    // Much may have happened since the job began.
    const Place place = placeOf(path);
    check(place, path);
    NewFile file(place, path);
    file.write(content, place);
    file.moveTo(place);
}

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
    writeContent(path, [bytes](const Taker &take) { take(bytes); });
}

void writeOutput(const std::string &path, const Spool &spool)
{
    writeContent(path, [&spool](const Taker &take) {
        const std::uint64_t chunk = 1 << 20;
        for (std::uint64_t done = 0; done < spool.size(); done += chunk)
            take(spool.read({done, static_cast<size_t>(std::min(chunk, spool.size() - done))}));
    });
}
