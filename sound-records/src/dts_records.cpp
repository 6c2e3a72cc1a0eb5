#include "define_packed.h"
// Only behind the header above.
#include "sound/dts_records.h"
