#include "Descriptor.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace desktop {

Descriptor::Descriptor(int number, char const* what) : number_(number) {
    if (number_ < 0) throw std::system_error(errno, std::generic_category(), what);
}

Descriptor::~Descriptor() {
    ::close(number_);
}

}  // namespace desktop
