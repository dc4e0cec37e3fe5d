#pragma once

#include "admin/ending_signals.h"

#include <sys/types.h>

#include <string>

// A text that is stored on the disk beside the place where it is to go, as "<path>.<number of this
// process>.new", and is taken away again at the end of the object's life unless it has been renamed.
// Signals that ask the program to end wait until then.
class NewFile
{
public:
    // What lies there is replaced. Throws Refusal, with the path, if it can't be stored whole; then
    // nothing is left.
    NewFile(const std::string &path, const std::string &text, mode_t mode);
    ~NewFile();
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;

    const std::string &name() const { return name_; }

private:
    const HeldSignals held_;
    const std::string name_;
};

// Puts the text in the place of the file: readers see the old text or the new one. Throws Refusal, with
// the path, if that fails or what lies there is no regular file; then that stays.
void replace_file(const std::string &path, const std::string &text);
