#pragma once

#include "domain/log_position.h"
#include "preparation/place.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The prepared log of a raw log, to which lines are appended all at once or not at all, whenever
// the program is killed, the disk is full or the power fails, and whatever the run does with the
// prepared log meanwhile: the run knows it by the name <log>.webstat only, and while lines are being
// appended it has the name <log>.webstat.new.
//
// 1. The position gets the size of the prepared log; how far the raw log is taken stays.
// 2. <log>.webstat is renamed to <log>.webstat.new, or that is made (root, 0600) if there is none.
// 3. Lines are appended to it.
// 4. All of them lie safely on the disk.
// 5. The position gets the new size, and tells that the lines are taken.
// 6. <log>.webstat.new is renamed to <log>.webstat.
//
// So wherever a <log>.webstat.new is found, it belongs to the position: what goes beyond the size in
// the position was appended between 2 and 5, is cut off and appended again; then 6 is done. If it is
// smaller, 6 was lost in a power failure after the run had emptied the log; it is not changed then.
// Where none is found, the position and <log>.webstat are as they were before 2, or as after 6.
// Inode, owner and mode of a prepared log stay. One that is a link, or has several names, is not
// written to. Each change of the position, and the renaming in 2, is on the disk before what
// follows. Where a <log>.webstat.new has no position, nothing is written.
//
// Failures are thrown with the path, as korvo::SystemError or std::runtime_error.
class PreparedLog
{
public:
    // logs: the directory, which must stay open; path: its path, for messages. position_path: where
    // the position lies, which is `position`. Changes nothing.
    PreparedLog(int logs, std::string path, const std::string &log, std::string position_path,
                LogPosition position);

    // Where something failed before 6, does what the next start would do, if that is possible: the
    // log of before can be used again.
    ~PreparedLog();

    PreparedLog(const PreparedLog &) = delete;
    PreparedLog &operator=(const PreparedLog &) = delete;

    // Where it is if an earlier preparation was cut short; nowhere otherwise.
    Place unsettled() const;

    // Throws if there is a <log>.webstat.new, where no position can belong to it.
    void requireNoStray() const;

    // Brings to its end what was cut short, going by the position. Comes before all that follows.
    // Throws, and changes no name, also if a new <log>.webstat has come meanwhile.
    void settle();

    // Lets the lines that are appended take the place of those that are there.
    void replace() { replaced_ = true; }

    // Appends bytes, after taking the first of the steps.
    void append(const char *bytes, std::size_t count);

    // Takes back the bytes appended last.
    void takeBack(std::uint64_t count) { size_ -= count; }

    // Whether anything was appended and not taken back.
    bool hasGrown() const { return size_ > base_; }

    // Takes the last steps, with the files that the position shall tell.
    void commit(const std::vector<TakenFile> &files);

    // Empties the log where it is, if there is anything in it.
    void empty();

private:
    void begin();
    void open(Place &place);
    void truncate(std::uint64_t size);
    void savePosition(std::uint64_t prepared);
    void show();

    int logs_;
    std::string directory_;
    std::string name_;
    std::string new_name_;
    std::string position_path_;
    LogPosition position_;
    Descriptor file_;
    bool replaced_ = false;
    bool hidden_ = false;     // between the steps 2 and 6
    bool is_new_ = false;     // made in 2
    std::uint64_t base_ = 0;  // its size before anything is appended
    std::uint64_t size_ = 0;  // its size with what is appended
    std::uint64_t reach_ = 0; // how far bytes were written
};
