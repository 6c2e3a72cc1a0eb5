/// @file
/// Carrying a command's fields over to the notification that reports them.
#pragma once

#include "fields.h"

namespace sound::service {

/// Copies the fields of one message to another's: the leading fields as long as their types agree,
/// then the trailing ones likewise. What lies between, where one of the two messages has fields
/// that the other lacks, stays as it is.
void copyLikeFields(tools::Fields const& from, tools::Fields const& to);

}  // namespace sound::service
