#include "util/descriptors.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

Descriptor &Descriptor::operator=(Descriptor &&other) noexcept
{
    if (this != &other) {
        close();
        descriptor_ = other.release();
    }
    return *this;
}

int Descriptor::release() noexcept
{
    return std::exchange(descriptor_, -1);
}

int Descriptor::close() noexcept
{
    return is_open() ? ::close(release()) : 0;
}

bool Pipe::open()
{
    int ends[2];
    if (::pipe(ends) != 0) {
        return false;
    }
    read_end = Descriptor(ends[0]);
    write_end = Descriptor(ends[1]);
    return true;
}

bool set_non_blocking(int descriptor)
{
    return ::fcntl(descriptor, F_SETFL, O_NONBLOCK) != -1;
}

int descriptor_or_null_device(int descriptor)
{
    return descriptor == -1 ? ::open("/dev/null", O_RDWR) : descriptor;
}

int attach_descriptor(int descriptor, int target)
{
    if (descriptor == target) {
        return target;
    }
    const Descriptor source(descriptor);
    return ::dup2(source.get(), target);
}

int lock_descriptor(int descriptor, bool wait)
{
    int result = -1;
    do {
        result = ::flock(descriptor, wait ? LOCK_EX : LOCK_EX | LOCK_NB);
    } while (result != 0 && errno == EINTR);
    return result;
}

void close_descriptors_from(int first)
{
    const int table_size = ::getdtablesize();
    if (first >= table_size) {
        return;
    }
    if (::close_range(static_cast<unsigned>(first), static_cast<unsigned>(table_size) - 1, 0) ==
        0) {
        return;
    }
    for (int descriptor = first; descriptor < table_size; ++descriptor) {
        ::close(descriptor);
    }
}

void open_standard_descriptors()
{
    int descriptor = -1;
    do {
        descriptor = ::open("/dev/null", O_RDWR);
    } while (descriptor != -1 && descriptor <= STDERR_FILENO);
    if (descriptor != -1) {
        ::close(descriptor);
    }
}
