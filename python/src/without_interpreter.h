#pragma once

#include <pybind11/pybind11.h>

#include <type_traits>

namespace sound::python {

/// Calls a function that may wait, with the interpreter's lock given back meanwhile.
///
/// When the interpreter ends, a thread that wants its lock again is ended. That unwinds the stack,
/// which a destructor does not let happen: so no guard takes the lock here.
template <class Function>
auto withoutInterpreter(Function const& function) {
    if constexpr (std::is_void_v<decltype(function())>) {
        withoutInterpreter([&function] {
            function();
            return true;
        });
    } else {
        PyThreadState* const state = PyEval_SaveThread();
        decltype(function()) result{};
        try {
            result = function();
        } catch (std::exception const&) {
            PyEval_RestoreThread(state);
            throw;
        }
        PyEval_RestoreThread(state);
        return result;
    }
}

}  // namespace sound::python
