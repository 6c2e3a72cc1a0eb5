/// @file
/// The process as the application framework sees it.
#pragma once

#include <cstdint>

namespace frame {

/// Yields the application members to start: a `malloc`ed array of pointers to
/// frame::AbstractMarshallingImpl objects, ended by a null pointer. Array and members belong to
/// the framework from then on. A null result means that memory ran out.
using ApplicationArrayFactory = void** (*)();

/// A handle to the one framework of this process. Copies are equivalent; destroying one stops
/// nothing.
class Process {
public:
    static Process getInstance();

    Process(Process const&) = default;
    Process& operator=(Process const&) = default;
    ~Process();  // NOLINT(performance-trivially-destructible): a platform may count handles

    /// Takes in the members of the array that @p factory yields, and sets up and starts each.
    /// Blocks until that is done, so the members' interfaces are registered when it succeeds.
    /// Calling it again with the same factory replaces the members of the call before: their
    /// receivers are withdrawn, but the objects stay usable until the process ends.
    /// @return 0 or positive, or the negative status of the first step that failed, in which
    ///         case no new member stays
    std::int32_t startAppMembersSync(ApplicationArrayFactory factory);

private:
    Process() = default;
};

}  // namespace frame
