/// @file
/// How an argument in the message list becomes a parameter of an interface operation.
#pragma once

#include <string>
#include <type_traits>

namespace sound {

/// A message's argument as a parameter: records and strings by reference, the rest by value.
template <class Type>
using Argument = std::conditional_t<std::is_class_v<Type>, Type const&, Type>;

}  // namespace sound

/// The parameters that a message's arguments add to its operation, named `first` and `second`,
/// each with a comma before it. The macro's arguments are those of the message list's line.
#define AUDVIK_PARAMETERS(...) __VA_OPT__(, AUDVIK_PARAMETERS_OF(__VA_ARGS__))
#define AUDVIK_PARAMETERS_OF(FIRST, ...) \
    ::sound::Argument<FIRST> first __VA_OPT__(, ::sound::Argument<__VA_ARGS__> second)

/// The names of those parameters, each with a comma before it.
#define AUDVIK_ARGUMENTS(...) __VA_OPT__(, AUDVIK_ARGUMENTS_OF(__VA_ARGS__))
#define AUDVIK_ARGUMENTS_OF(FIRST, ...) first __VA_OPT__(, second)
