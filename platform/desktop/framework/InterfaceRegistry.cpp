#include "InterfaceRegistry.h"

#include <algorithm>
#include <cerrno>
#include <new>

#include "desktop/framework.h"
#include "frame/AbstractMarshallingImpl.h"

namespace desktop {

InterfaceRegistry& InterfaceRegistry::instance() {
    // Never destroyed: members may be left to end with the process, after its static objects.
    static auto* const registry = new InterfaceRegistry;
    return *registry;
}

void InterfaceRegistry::add(void* interface, std::string const& name) {
    std::lock_guard const lock(mutex_);
    std::erase(entries_, std::pair(name, interface));
    entries_.emplace_back(name, interface);
}

bool InterfaceRegistry::remove(void* interface) {
    std::lock_guard const lock(mutex_);
    return std::erase_if(entries_,
                         [interface](auto const& entry) { return entry.second == interface; }) > 0;
}

void* InterfaceRegistry::find(std::string_view name) {
    std::lock_guard const lock(mutex_);
    auto const entry =
        std::find_if(entries_.rbegin(), entries_.rend(),
                     [&name](auto const& candidate) { return candidate.first == name; });
    return entry == entries_.rend() ? nullptr : entry->second;
}

void* findInterface(std::string_view name) {
    return InterfaceRegistry::instance().find(name);
}

}  // namespace desktop

namespace frame {

std::int32_t AbstractComponent::registerInterface(void* interface, std::string const& name) {
    if (interface == nullptr || name.empty()) return -EINVAL;
    try {
        desktop::InterfaceRegistry::instance().add(interface, name);
        return 0;
    } catch (std::bad_alloc const&) {
        return -ENOMEM;
    }
}

std::int32_t AbstractComponent::unregisterInterface(void* interface) {
    return desktop::InterfaceRegistry::instance().remove(interface) ? 0 : -ENOENT;
}

}  // namespace frame
