#include "engine/browser/profilefolder.h"

#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <memory>
#include <string_view>
#include <vector>

namespace
{

constexpr std::string_view prefix = "quirelle-browser-";
constexpr std::string_view pattern = "XXXXXX";

Descriptor openFolder(int parent, const char *name)
{
    return Descriptor(::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

std::vector<std::string> namesIn(int folder)
{
    // fdopendir() takes ownership of the descriptor.
    Descriptor opened = openFolder(folder, ".");
    const std::unique_ptr<DIR, int (*)(DIR *)> list(opened ? ::fdopendir(opened.get()) : nullptr, ::closedir);
    std::vector<std::string> names;
    if (!list)
        return names;
    [[maybe_unused]] const int owned = opened.release();
    while (const dirent *entry = ::readdir(list.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            names.emplace_back(name);
    }
    return names;
}

/// Removes a file, or a folder with all that is in it.
void removeAll(int parent, const std::string &name)
{
    if (::unlinkat(parent, name.c_str(), 0) == 0 || (errno != EISDIR && errno != EPERM))
        return;
    // The folder's own permissions may prevent emptying it.
    [[maybe_unused]] const int changed = ::fchmodat(parent, name.c_str(), S_IRWXU, AT_SYMLINK_NOFOLLOW);
    if (const Descriptor folder = openFolder(parent, name.c_str())) {
        for (const std::string &inside : namesIn(folder.get()))
            removeAll(folder.get(), inside);
    }
    ::unlinkat(parent, name.c_str(), AT_REMOVEDIR);
}

/// Whether only this user and root can rename or replace this user's files in the folder.
bool isSafe(int folder)
{
    struct stat info {
    };
    return ::fstat(folder, &info) == 0 && (info.st_uid == ::geteuid() || info.st_uid == 0) &&
           ((info.st_mode & S_ISVTX) != 0 || (info.st_mode & (S_IWGRP | S_IWOTH)) == 0);
}

bool isOwn(int folder)
{
    struct stat info {
    };
    return ::fstat(folder, &info) == 0 && info.st_uid == ::geteuid();
}

} // namespace

ProfileFolder::ProfileFolder(const std::string &parent)
{
    do {
        m_path = parent + '/' + std::string(prefix) + std::string(pattern);
        m_lock.reset();
        if (!::mkdtemp(m_path.data()))
            return;
        m_lock = openFolder(AT_FDCWD, m_path.c_str());
        // If the file system has no locks, removeLeftProfileFolders() cannot lock it either and leaves it.
        if (m_lock)
            ::flock(m_lock.get(), LOCK_EX);
        // Another process may have taken it for a left one and removed it before it was locked.
    } while (m_lock ? !isFileAt(m_lock.get(), m_path) : errno == ENOENT);
}

void ProfileFolder::remove() const
{
    if (m_lock)
        removeAll(AT_FDCWD, m_path);
}

void removeLeftProfileFolders(const std::string &parent)
{
    const Descriptor folder(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder || !isSafe(folder.get()))
        return;
    for (const std::string &name : namesIn(folder.get())) {
        if (!name.starts_with(prefix) || name.size() != prefix.size() + pattern.size())
            continue;
        const Descriptor left = openFolder(folder.get(), name.c_str());
        if (left && isOwn(left.get()) && ::flock(left.get(), LOCK_EX | LOCK_NB) == 0)
            removeAll(folder.get(), name);
    }
}
