#pragma once

#include "engine/base/descriptor.h"

#include <string>

/// A folder for one browser, removed with this object. The process that made it, and those that inherit the
/// descriptor, keep it locked while they run; so an unlocked folder was left by a killed process.
class ProfileFolder
{
public:
    /// Makes one in `parent` that only this user can enter. Evaluates to false, with errno set, if that
    /// fails.
    explicit ProfileFolder(const std::string &parent);
    ProfileFolder(const ProfileFolder &) = delete;
    ProfileFolder &operator=(const ProfileFolder &) = delete;
    ~ProfileFolder() { remove(); }

    explicit operator bool() const { return bool(m_lock); }
    const std::string &path() const { return m_path; }
    int lock() const { return m_lock.get(); }

    /// Removes it and all that is in it, whatever the permissions; follows no link.
    void remove() const;

private:
    std::string m_path;
    Descriptor m_lock;
};

/// Removes the folders that this user's killed processes have left in `parent`. Does nothing if other users
/// could rename files there, and so have another folder removed instead.
void removeLeftProfileFolders(const std::string &parent);
