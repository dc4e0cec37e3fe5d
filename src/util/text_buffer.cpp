#include "util/text_buffer.h"

bool TextBuffer::grow_to(std::size_t capacity)
{
    char *const grown = static_cast<char *>(std::realloc(memory_.get(), capacity));
    if (grown == nullptr) {
        return false;
    }
    static_cast<void>(memory_.release()); // realloc has taken it over
    memory_.reset(grown);
    capacity_ = capacity;
    return true;
}

char *TextBuffer::release()
{
    if (memory_ != nullptr) {
        *end() = '\0';
    }
    capacity_ = 0;
    length_ = 0;
    return memory_.release();
}
