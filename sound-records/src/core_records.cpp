#include "define_packed.h"
// Only behind the header above.
#include "sound/core_records.h"
