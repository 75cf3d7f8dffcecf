#pragma once

#include "engine/base/descriptor.h"

#include <string>

/// A folder for one browser, removed with this object. The process that made it, and those that inherit the
/// lock, hold it locked for their lives; so a folder that is not has been left by one that was killed.
class ProfileFolder
{
public:
    /// Makes one that only this user can enter, in `parent`. None, with errno, if that fails.
    explicit ProfileFolder(const std::string &parent);
    ProfileFolder(const ProfileFolder &) = delete;
    ProfileFolder &operator=(const ProfileFolder &) = delete;
    ~ProfileFolder() { remove(); }

    explicit operator bool() const { return bool(m_lock); }
    const std::string &path() const { return m_path; }
    int lock() const { return m_lock.get(); }

    /// Removes as much of it as there is, whatever its permissions are, and goes through no link.
    void remove() const;

private:
    std::string m_path;
    Descriptor m_lock;
};

/// Removes the folders that this user's killed processes have left in `parent`. It does nothing in one where
/// other users could put this user's other folders in their place.
void removeLeftProfileFolders(const std::string &parent);
