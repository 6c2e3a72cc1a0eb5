#include "Responder.h"

#include <cerrno>
#include <utility>

#include "copy_fields.h"
#include "frame/lmq.h"

namespace sound::service {

namespace {

template <class... Types>
tools::Fields fieldsOf(std::tuple<Types...> const& arguments) {
    return std::apply([](auto const&... each) { return tools::fieldsOf(each...); }, arguments);
}

}  // namespace

Responder::Responder(State state, Switch switchAudioData, MessageLog& log)
    : state_(std::move(state)), switchAudioData_(std::move(switchAudioData)), log_(log) {}

void Responder::connect(void* ioModule) {
    ioModule_ = ioModule;
#define AUDVIK_COMMAND(NAME, ...)                                                                  \
    frameLmqIOServiceRegisterMessageHandlerFunction(ioModule, commandHeader(MessageId::cmd##NAME), \
                                                    &receive<MessageId::cmd##NAME>, this,          \
                                                    Message<MessageId::cmd##NAME>::kTable);
#include "sound/messages.def"
}

std::int32_t Responder::announceAudioData(frame::TransportInfo const& client,
                                          std::string const& path, std::uint32_t size) {
    return send<MessageId::onAudioDataNotify>(&client, {path, size});
}

void Responder::tell(std::string const& notification, tools::Json const& arguments) {
    std::scoped_lock const lock(mutex_);
    setState(state_, notification, arguments);
#define AUDVIK_NOTIFICATION(NAME, ...)                                       \
    if (notification == Message<MessageId::on##NAME##Notify>::kName) {       \
        send<MessageId::on##NAME##Notify>(nullptr, state_.on##NAME##Notify); \
    }
#include "sound/messages.def"
}

template <MessageId kId>
std::int32_t Responder::receive(frame::MsgMeta const& /*meta*/, frame::TransportInfo const& client,
                                void const* record, void* context) {
    static_cast<Responder*>(context)->handle<kId>(
        client, Message<kId>::Record::unpack(record, [](auto const&... arguments) {
            return ArgumentsOf<kId>(arguments...);
        }));
    return 0;
}

template <MessageId kId>
void Responder::handle(frame::TransportInfo const& client, ArgumentsOf<kId> const& arguments) {
    if (log_.isOn()) log_.write("command", Message<kId>::kName, kId, &client, fieldsOf(arguments));
    std::scoped_lock const lock(mutex_);
#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...)                                  \
    if constexpr (kId == MessageId::cmd##COMMAND) {                                        \
        RELATION<MessageId::on##NAME##Notify>(client, arguments, state_.on##NAME##Notify); \
    }
#include "sound/messages.def"
}

template <MessageId kNotification, class Arguments>
void Responder::reports(frame::TransportInfo const& /*client*/, Arguments const& arguments,
                        ArgumentsOf<kNotification>& state) {
    copyLikeFields(fieldsOf(arguments), fieldsOf(state));
    send<kNotification>(nullptr, state);
}

template <MessageId kNotification, class Arguments>
void Responder::answers(frame::TransportInfo const& /*client*/, Arguments const& /*arguments*/,
                        ArgumentsOf<kNotification>& state) {
    send<kNotification>(nullptr, state);
}

template <MessageId kNotification, class Arguments>
void Responder::streams(frame::TransportInfo const& client, Arguments const& arguments,
                        ArgumentsOf<kNotification>& /*state*/) {
    static_assert(kNotification == MessageId::onAudioDataNotify, "nothing else is streamed here");
    switchAudioData_(client, std::get<0>(arguments));
}

template <MessageId kId>
std::int32_t Responder::send(frame::TransportInfo const* client,
                             ArgumentsOf<kId> const& arguments) {
    typename Message<kId>::Record record;
    if (!std::apply([&](auto const&... each) { return record.pack(each...); }, arguments)) {
        return -ENOMEM;
    }
    auto const status =
        frameLmqIOServiceSendStructure(ioModule_, frame::MsgIds::none, notificationHeader(kId),
                                       client, Message<kId>::kTable, record.data());
    if (status >= 0 && log_.isOn()) {
        log_.write("notification", Message<kId>::kName, kId, client, fieldsOf(arguments));
    }
    return status;
}

}  // namespace sound::service
