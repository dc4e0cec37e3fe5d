#include "preparation/last_bytes.h"

namespace
{

constexpr std::uint64_t factor =
    6364136223846793005U; // each byte weighs so much more than the next

} // namespace

LastBytes::LastBytes(std::size_t length) : bytes_(length, '\0')
{
    for (std::size_t i = 0; i < length; ++i) {
        weight_ *= factor;
    }
}

void LastBytes::add(char byte)
{
    char &place = bytes_[next_];
    sum_ = sum_ * factor + static_cast<unsigned char>(byte) -
           weight_ * static_cast<unsigned char>(place);
    place = byte;
    next_ = next_ + 1 == bytes_.size() ? 0 : next_ + 1;
}
