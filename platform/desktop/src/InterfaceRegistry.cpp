#include "InterfaceRegistry.h"

#include <algorithm>

#include "desktop/framework.h"

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

void* InterfaceRegistry::find(std::string const& name) {
    std::lock_guard const lock(mutex_);
    auto const entry =
        std::find_if(entries_.rbegin(), entries_.rend(),
                     [&name](auto const& candidate) { return candidate.first == name; });
    return entry == entries_.rend() ? nullptr : entry->second;
}

void* findInterface(std::string const& name) {
    return InterfaceRegistry::instance().find(name);
}

}  // namespace desktop
