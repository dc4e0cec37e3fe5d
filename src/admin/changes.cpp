#include "admin/changes.h"

#include "admin/command.h"
#include "admin/stored_file.h"
#include "util/directories.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

Changes::~Changes()
{
    for (auto path = made_.rbegin(); path != made_.rend(); ++path) {
        if (std::remove(path->c_str()) != 0) { // a directory only while it is empty
            const std::string message =
                *path + ": cannot be taken away again: " + std::strerror(errno) + "\n";
            std::fputs(message.c_str(), stderr);
        }
    }
}

bool Changes::make_dir(const std::string &name, mode_t mode)
{
    const std::string path = name.substr(0, name.find_last_not_of('/') + 1);
    if (dir_exists(path.c_str())) {
        return false;
    }
    const std::size_t slash = path.rfind('/');
    if (slash != std::string::npos && slash != 0) {
        make_dir(path.substr(0, slash), 0755);
    }
    if (::mkdir(path.c_str(), mode) != 0) {
        throw refusal_of(path, errno == EEXIST ? ENOTDIR : errno);
    }
    made_.push_back(path);
    if (::chmod(path.c_str(), mode) != 0) {
        throw refusal_of(path, errno);
    }
    return true;
}

void Changes::write_file(const std::string &path, const std::string &text, mode_t mode)
{
    const NewFile file(path, text, mode);
    if (::link(file.name().c_str(), path.c_str()) != 0) {
        throw refusal_of(path, errno);
    }
    made_.push_back(path);
}

void Changes::make_link(const std::string &target, const std::string &path)
{
    char existing[4096];
    const ssize_t length = ::readlink(path.c_str(), existing, sizeof existing);
    if (length > 0 && target == std::string(existing, static_cast<std::size_t>(length))) {
        return;
    }
    if (::symlink(target.c_str(), path.c_str()) != 0) {
        throw refusal_of(path, errno);
    }
    made_.push_back(path);
}

void Changes::keep_renamed(const std::string &from, const std::string &to)
{
    if (::rename(from.c_str(), to.c_str()) != 0) {
        throw refusal_of(to, errno);
    }
    keep();
}
