#include "copy_fields.h"

#include <algorithm>

namespace sound::service {

void copyLikeFields(tools::Fields const& from, tools::Fields const& to) {
    auto const copy = [](tools::Field const& source, tools::Field const& target) {
        if (source.type != target.type) return false;
        source.type->assign(target.address, source.address);
        return true;
    };
    std::size_t const fewest = std::min(from.size(), to.size());
    std::size_t leading = 0;
    while (leading < fewest && copy(from[leading], to[leading])) ++leading;
    std::size_t trailing = 0;
    while (leading + trailing < fewest &&
           copy(from[from.size() - 1 - trailing], to[to.size() - 1 - trailing])) {
        ++trailing;
    }
}

}  // namespace sound::service
