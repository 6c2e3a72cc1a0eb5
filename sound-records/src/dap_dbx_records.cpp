#include "define_packed.h"
// Only behind the header above.
#include "sound/dap_dbx_records.h"
