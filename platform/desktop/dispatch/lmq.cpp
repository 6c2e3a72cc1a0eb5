#include "frame/lmq.h"

#include <cerrno>
#include <new>
#include <utility>

#include "Datagram.h"
#include "IoModule.h"
#include "log.h"
#include "MessageHeader.h"
#include "Payload.h"
#include "RecordCodec.h"

frame::MsgIds frame::MsgIds::none{};

std::int32_t frameLmqIOServiceSendStructure(void* ioModule, frame::MsgIds& msgIds,
                                            frameLmqMessageHeader_t const& header,
                                            frame::TransportInfo const* destination,
                                            cspEndianTable_t const* table, void const* record) {
    if (ioModule == nullptr || table == nullptr || record == nullptr) return -EINVAL;
    try {
        auto const start = desktop::encodeMessageHeader({header, msgIds});
        auto message = desktop::newPayload();
        message->bytes.reserve(start.size() + table->size);
        message->bytes.assign(start.begin(), start.end());
        auto const status =
            desktop::encodeRecord(*table, record, desktop::kMaxMessage, message->bytes);
        if (status < 0) return status;
        return static_cast<desktop::IoModule*>(ioModule)->send(std::move(message), destination);
    } catch (std::bad_alloc const&) {
        desktop::logLine(desktop::kFrameError, "message 0x%08X is not sent: out of memory",
                         unsigned{header.messageId});
        return -ENOMEM;
    }
}

std::int32_t frameLmqIOServiceRegisterMessageHandlerFunction(void* ioModule,
                                                             frameLmqMessageHeader_t const& header,
                                                             frameLmqMessageHandler_t receiver,
                                                             void* context,
                                                             cspEndianTable_t const* table) {
    if (ioModule == nullptr || receiver == nullptr || table == nullptr) return -EINVAL;
    auto* const owner = static_cast<desktop::IoModule*>(ioModule);
    try {
        owner->dispatcher().add(
            {owner, header.interfaceCode, header.messageId, receiver, context, table});
    } catch (std::bad_alloc const&) {
        owner->noteFailedRegistration();
        return -ENOMEM;
    }
    return 0;
}
