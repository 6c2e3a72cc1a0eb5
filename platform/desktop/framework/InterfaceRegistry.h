// The interfaces that components have published.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace desktop {

class InterfaceRegistry {
public:
    static InterfaceRegistry& instance();

    void add(void* interface, std::string const& name);
    /// @return false when the interface has no name
    bool remove(void* interface);
    /// @return the interface that was published last under that name, or null
    void* find(std::string_view name);

private:
    std::mutex mutex_;
    // An interface whose name another one has taken comes back into view when that one goes, so
    // that members that fail to start leave no trace.
    std::vector<std::pair<std::string, void*>> entries_;
};

}  // namespace desktop
