#include "preparation/prepared_log.h"

#include "domain/log_sources.h"
#include "preparation/position_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <utility>

namespace
{

// Renames a file in the directory, and replaces none where the filesystem knows how not to.
int rename_to_free(int directory, const std::string &from, const std::string &to)
{
    const int result =
        ::renameat2(directory, from.c_str(), directory, to.c_str(), RENAME_NOREPLACE);
    return result != 0 && errno == EINVAL
               ? ::renameat(directory, from.c_str(), directory, to.c_str())
               : result;
}

} // namespace

PreparedLog::PreparedLog(int logs, std::string path, const std::string &log,
                         std::string position_path, LogPosition position)
    : logs_(logs), directory_(std::move(path)), name_(prepared_log_name(log)),
      new_name_(name_ + ".new"), position_path_(std::move(position_path)),
      position_(std::move(position))
{
}

PreparedLog::~PreparedLog()
{
    if (!hidden_) {
        return;
    }
    try {
        file_ = Descriptor(); // there may be no other left
        position_ = read_log_position(position_path_).value_or(position_);
        settle();
    } catch (const std::exception &) { // the next start tries again
    }
}

Place PreparedLog::unsettled() const
{
    return place_at(logs_, directory_, new_name_);
}

void PreparedLog::requireNoStray() const
{
    const Place place = unsettled();
    if (place.exists) {
        fail(place.path,
             "there is no position for its lines: append it to " + name_ + " and remove it");
    }
}

void PreparedLog::settle()
{
    Place place = unsettled();
    if (!place.exists) {
        return;
    }
    open(place);
    if (static_cast<std::uint64_t>(place.status.st_size) > position_.prepared) {
        truncate(position_.prepared);
    }
    show();
}

void PreparedLog::append(const char *bytes, std::size_t count)
{
    if (!hidden_) {
        begin();
    }
    while (count > 0) {
        const ssize_t written = ::pwrite(file_.get(), bytes, count, static_cast<off_t>(size_));
        if (written < 0) {
            fail(directory_ + "/" + name_);
        }
        bytes += written;
        count -= static_cast<std::size_t>(written);
        size_ += static_cast<std::uint64_t>(written);
        reach_ = std::max(reach_, size_);
    }
}

void PreparedLog::commit(const std::vector<TakenFile> &files)
{
    position_.files = files;
    if (!hidden_) {
        savePosition(position_.prepared);
        return;
    }
    if (reach_ > size_) {
        truncate(size_);
    }
    if (::fsync(file_.get()) != 0 || (is_new_ && ::fsync(logs_) != 0)) {
        fail(directory_ + "/" + new_name_);
    }
    savePosition(size_);
    hidden_ = false;
    show();
}

void PreparedLog::empty()
{
    Place place = place_at(logs_, directory_, name_);
    if (place.exists && place.status.st_size != 0) {
        open(place);
        truncate(0);
    }
}

void PreparedLog::begin()
{
    requireNoStray();
    Place place = place_at(logs_, directory_, name_);
    if (place.exists) {
        open(place);
        base_ = replaced_ ? 0 : static_cast<std::uint64_t>(place.status.st_size);
    }
    size_ = base_;
    savePosition(base_);
    if (place.exists) {
        if (rename_to_free(logs_, name_, new_name_) != 0) {
            fail(place.path);
        }
        hidden_ = true;
        if (::fsync(logs_) != 0) {
            fail(directory_);
        }
        truncate(base_);
    } else {
        file_ = Descriptor(::openat(logs_, new_name_.c_str(),
                                    O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!file_.is_open()) {
            fail(directory_ + "/" + new_name_);
        }
        hidden_ = true;
        is_new_ = true;
    }
}

// Opens a prepared log that is there.
void PreparedLog::open(Place &place)
{
    file_ = open_file(place, O_RDWR);
    if (place.status.st_nlink != 1) {
        fail(place.path, "has other names, too, and is not written to");
    }
}

void PreparedLog::truncate(std::uint64_t size)
{
    if (::ftruncate(file_.get(), static_cast<off_t>(size)) != 0) {
        fail(directory_ + "/" + name_);
    }
}

void PreparedLog::savePosition(std::uint64_t prepared)
{
    position_.prepared = prepared;
    write_log_position(position_path_, position_);
}

// Nobody but a stranger can have put another file there meanwhile.
void PreparedLog::show()
{
    const Place place = place_at(logs_, directory_, name_);
    if (place.exists) {
        fail(place.path, "has come while its lines were in " + new_name_ +
                             ": append one to the other and leave them under this name");
    }
    if (rename_to_free(logs_, new_name_, name_) != 0) {
        fail(place.path);
    }
}
