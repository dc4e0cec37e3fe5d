#pragma once

// File descriptors: owned ones, and what a program does with its whole table.

// Owns one descriptor, or none (-1), and closes it at the end of its life.
class Descriptor
{
public:
    explicit Descriptor(int descriptor = -1) noexcept : descriptor_(descriptor) {}
    Descriptor(Descriptor &&other) noexcept : descriptor_(other.release()) {}
    Descriptor &operator=(Descriptor &&other) noexcept;
    ~Descriptor() { close(); }

    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    int get() const noexcept { return descriptor_; }
    bool is_open() const noexcept { return descriptor_ != -1; }

    // Gives up the ownership: the descriptor stays open. Returns it.
    int release() noexcept;

    // Closes the descriptor now and owns none any more. Returns 0, also when there was none, or
    // -1 with errno set.
    int close() noexcept;

private:
    int descriptor_;
};

// Both ends of a pipe.
struct Pipe {
    Descriptor read_end;
    Descriptor write_end;

    // Makes the pipe. Returns false, with errno set, if it can't be made.
    bool open();
};

// Puts the descriptor into non-blocking mode; its other status flags are cleared. Returns false,
// with errno set, on failure.
bool set_non_blocking(int descriptor);

// Returns the descriptor, or for -1 a new one for "/dev/null", opened for reading and writing; -1
// with errno set if that can't be opened.
int descriptor_or_null_device(int descriptor);

// Makes the target number name what the descriptor names, and closes the descriptor. One that is
// the target already stays as it is. Returns the target, or -1 with errno set.
int attach_descriptor(int descriptor, int target);

// Takes the exclusive advisory lock on the descriptor's file; wait: whether to wait for whoever
// holds it. Returns 0, or -1 with errno set.
int lock_descriptor(int descriptor, bool wait);

// Closes every descriptor from `first` up to the size of the descriptor table, in one call where
// the kernel can, so that the size of the table does not matter.
void close_descriptors_from(int first);

// Opens "/dev/null" for each of the three standard descriptors that is closed, so that no file
// opened later takes the number of a standard stream.
void open_standard_descriptors();
