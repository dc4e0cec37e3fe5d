#include "admin/checklist.h"

#include "admin/listing.h"
#include "util/directories.h"
#include "util/shell_quote.h"

#include <boost/filesystem.hpp>

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace
{

constexpr fsblkcnt_t full_percent = 1; // and less than the following is free
constexpr fsblkcnt_t full_bytes = 1 << 30;
constexpr fsfilcnt_t full_inodes = 10000;

const char *const mend_of_link_to_nothing =
    "mount or restore what it leads to; or, if that is gone for good, ";

std::string make_command(const std::string &path, const char *mode)
{
    return std::string("install -d -m ") + mode + " " + shell_quote(path);
}

std::string without_slashes(const std::string &path)
{
    return path.substr(0, std::max<std::size_t>(1, path.find_last_not_of('/') + 1));
}

std::string real_path(const std::string &path)
{
    boost::system::error_code error;
    return boost::filesystem::canonical(path, error).string();
}

} // namespace

void Checklist::add(ProblemKind kind, const std::string &what, const std::string &mend)
{
    problems_.push_back({kind, domain_, what, mend});
}

bool Checklist::expect_kind(const std::string &path, const struct stat &found, const char *mode)
{
    const std::string word = shell_quote(path);
    const std::string command = make_command(path, mode);
    if (found.st_mode == 0) {
        add(ProblemKind::place, path + " is missing", command);
    } else if (S_ISLNK(found.st_mode)) {
        const std::string target = shell_quote(real_path(path));
        const std::string remove = "rm " + word + " && ";
        add(ProblemKind::place, path + " is a link in place of a directory",
            dir_exists(path.c_str())
                ? "mount it there, in fstab too: " + remove + command + " && mount --bind " +
                      target + " " + word + "; or, if nobody needs it elsewhere, " + remove +
                      "mv " + target + " " + word
                : mend_of_link_to_nothing + remove + command);
    } else if (!S_ISDIR(found.st_mode)) {
        add(ProblemKind::place, path + " is not a directory",
            "mv " + word + " " + shell_quote(path + ".old") + " && " + command);
    } else {
        expect_owner(path, found);
        return true;
    }
    return false;
}

bool Checklist::expect_directory(const std::string &path, const struct stat &found,
                                 const char *mode)
{
    if (!expect_kind(path, found, mode)) {
        return false;
    }
    if (disks_.count({found.st_dev, false}) == 0) {
        expect_disk(path, found.st_dev);
    }
    return true;
}

void Checklist::expect_shared_directory(const std::string &name, Written written, const char *mode)
{
    const std::string path = without_slashes(name);
    const struct stat found = look_at(AT_FDCWD, path, 0);
    if (found.st_mode == 0 && is_there(path)) {
        add(ProblemKind::place, path + " leads to nothing",
            std::string(mend_of_link_to_nothing) + "rm " + shell_quote(path) + " && " +
                make_command(path, mode));
        return;
    }
    if (expect_kind(path, found, mode) && written == Written::yes) {
        expect_disk(path, found.st_dev);
    }
    above_.insert({found.st_dev, found.st_ino});
    expect_owner_above(path);
}

void Checklist::expect_owner_above(const std::string &path)
{
    for (std::string above : {without_slashes(path), real_path(path)}) {
        while (above.find('/') != std::string::npos && above != "/") {
            above = without_slashes(above.substr(0, above.rfind('/') + 1));
            struct stat found = {};
            if (::stat(above.c_str(), &found) != 0 ||
                !above_.insert({found.st_dev, found.st_ino}).second) {
                continue;
            }
            if ((found.st_mode & S_ISVTX) != 0) {
                found.st_mode &= ~static_cast<mode_t>(S_IWGRP | S_IWOTH);
            }
            expect_owner(above, found);
        }
    }
}

void Checklist::expect_owner(const std::string &path, const struct stat &found)
{
    const std::string word = shell_quote(path);
    if (found.st_uid != 0) {
        add(ProblemKind::owner,
            path + " belongs to the user " + std::to_string(found.st_uid) + ", not to root",
            "chown root:root " + word);
    } else if ((found.st_mode & S_IWOTH) != 0 ||
               ((found.st_mode & S_IWGRP) != 0 && found.st_gid != 0)) {
        add(ProblemKind::owner, path + " can be written to by others than root",
            "chmod go-w " + word);
    }
}

bool Checklist::expect_program(const std::string &path, const std::string &mend)
{
    struct stat found = {};
    if (::stat(path.c_str(), &found) != 0) {
        add(ProblemKind::program, path + ": " + std::strerror(errno), mend);
    } else if (!S_ISREG(found.st_mode) || ::access(path.c_str(), X_OK) != 0) {
        add(ProblemKind::program, path + " is not a program that can be started",
            S_ISREG(found.st_mode) ? "chmod 755 " + shell_quote(path) : mend);
    } else {
        expect_owner(path, found);
        expect_owner_above(path);
        return true;
    }
    return false;
}

void Checklist::expect_disk(const std::string &path, dev_t device)
{
    struct statvfs disk = {};
    if (::statvfs(path.c_str(), &disk) != 0) {
        return;
    }
    // In the service, directories of one file system can be read-only or not.
    const bool is_read_only = (disk.f_flag & ST_RDONLY) != 0;
    if (!disks_.insert({device, is_read_only}).second) {
        return;
    }
    const std::string name = "the file system of " + path;
    if (is_read_only) {
        add(ProblemKind::disk, name + " is read-only",
            "mount -o remount,rw \"$(findmnt -no TARGET -T " + shell_quote(path) +
                ")\", or name the directory in the service's ReadWritePaths=");
    } else if (disk.f_bavail * 100 < disk.f_blocks * full_percent &&
               disk.f_bavail * disk.f_frsize < full_bytes) {
        add(ProblemKind::disk, name + " is full", "make room on it; df " + shell_quote(path));
    } else if (disk.f_favail * 100 < disk.f_files * full_percent && disk.f_favail < full_inodes) {
        add(ProblemKind::disk, name + " has no room for files",
            "remove files from it; df -i " + shell_quote(path));
    }
}
