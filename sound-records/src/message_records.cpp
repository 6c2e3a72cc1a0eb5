#include "sound/message_records.h"

namespace sound {

#define AUDVIK_MESSAGE_TABLE(RECORD, ...)                                      \
    extern "C" constinit cspEndianTable_t const __csp_EndianTable_##RECORD = { \
        sizeof(RECORD), packing::kEntries<packing::TypeList<__VA_ARGS__>>.data()};
#define AUDVIK_COMMAND(NAME, ...) \
    AUDVIK_MESSAGE_TABLE(soundMsgCmd##NAME##_t __VA_OPT__(, ) __VA_ARGS__)
#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...) \
    AUDVIK_MESSAGE_TABLE(soundMsgOn##NAME##Notify_t __VA_OPT__(, ) __VA_ARGS__)
#include "sound/messages.def"

}  // namespace sound
