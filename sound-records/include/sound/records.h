/// @file
/// All plain records of the sound interface.
#pragma once

#include "sound/core_records.h"
#include "sound/dap_dbx_records.h"
#include "sound/dts_records.h"
