#include "RecordingPlatform.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <utility>

namespace recording {

namespace {

constexpr char kInterfaceName[] = "tarvo.lm.interfaces.sound";
constexpr char kLinePrefix[] = "%s:%d:%s(): ";
constexpr std::size_t kPrefixLength = sizeof kLinePrefix - 1;

thread_local bool atWork = false;
thread_local std::uint32_t checkedLevel = 0;  // the level that output was promised for

// Never destroyed at the end: the library's listener lives until then.
Platform*& current() {
    static auto* instance = new Platform;
    return instance;
}

/// Access to the platform's state, marked as the recorder's own work.
class Access {
public:
    Access() : lock_(platform().mutex) { atWork = true; }
    ~Access() { atWork = false; }
    Access(Access const&) = delete;
    Access& operator=(Access const&) = delete;
    Platform* operator->() const { return &platform(); }

private:
    std::lock_guard<std::mutex> lock_;
};

std::int32_t note(char const* call) {
    Access const access;
    access->calls.emplace_back(call);
    return access->results[call];
}

/// @return 0, whatever the arguments
template <class... Types>
std::int32_t nothing(int zero, Types const&... /*arguments*/) {
    return zero;
}

std::int32_t bringUp(frame::AbstractMarshallingImpl& member) {
    member.setLmqIOModule(&platform().ioModule);
    std::int32_t status = member.registerMessageHandlers();
    if (status >= 0) status = member.setupDone();
    if (status >= 0) status = member.start();
    return status;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, LogLine const& line) {
    return out << std::hex << line.levelWord << std::dec << ' ' << line.file << ' ' << line.function
               << ' ' << line.text;
}

Platform& platform() {
    return *current();
}

void resetPlatform() {
    platform().members.clear();
    delete std::exchange(current(), new Platform);
}

bool isRecording() {
    return atWork;
}

std::int32_t Platform::deliver(std::uint32_t messageId, frame::TransportInfo const& transport,
                               void const* record) const {
    auto const receiver = std::find_if(
        receivers.rbegin(), receivers.rend(),
        [=](Receiver const& candidate) { return candidate.header.messageId == messageId; });
    if (receiver == receivers.rend()) return -ENOENT;
    frame::MsgMeta const meta{receiver->header.interfaceCode, messageId, {{7, 8}}};
    return receiver->function(meta, transport, record, receiver->context);
}

sound::ServiceInterface* Platform::service() const {
    auto const found = interfaces.find(kInterfaceName);
    return found == interfaces.end() ? nullptr
                                     : static_cast<sound::ServiceInterface*>(found->second);
}

}  // namespace recording

using recording::Access;
using recording::platform;
using recording::Platform;

// The debug log.

extern "C" {

std::int32_t cspDebugInit(int argc, char** argv) {
    Access const access;
    access->calls.emplace_back("cspDebugInit");
    access->argc = argc;
    access->argv = argv;
    return -EIO;
}

std::int32_t cspDebugCheckLevelGetFrameAndChunk(cspDebugLevel_t* level) {
    Access const access;
    if (level->frame != 0 || level->chunk != 0) access->misuses.emplace_back("level not fresh");
    if (recording::checkedLevel != 0) access->misuses.emplace_back("line allowed, not written");
    level->frame = level->chunk = 1;
    bool const wanted = (level->levelWord & 0xFFFFU) <= access->threshold;
    recording::checkedLevel = wanted ? level->levelWord : 0;
    return wanted ? 1 : 0;
}

void cspDebugOutput0(char const* format, ...) {
    Access const access;
    std::va_list values;
    va_start(values, format);
    std::array<char, 512> text{};
    if (recording::checkedLevel == 0) access->misuses.emplace_back("line written, not allowed");
    if (std::strncmp(format, recording::kLinePrefix, recording::kPrefixLength) != 0) {
        access->misuses.emplace_back(std::string("unusual line: ") + format);
    } else {
        char const* const file = va_arg(values, char const*);
        if (va_arg(values, int) < 1) access->misuses.emplace_back("line number missing");
        char const* const function = va_arg(values, char const*);
        std::vsnprintf(text.data(), text.size(), format + recording::kPrefixLength, values);
        access->log.push_back({recording::checkedLevel, file, function, text.data()});
    }
    va_end(values);
    recording::checkedLevel = 0;
}

// The transport.

cspEndianEntry_t const kStringEntries[] = {{0, kCspEndianEnd, {.word = UINTPTR_MAX}}};
cspEndianTable_t const __csp_EndianTable_cspDeserString_t = {sizeof(cspDeserString_t),
                                                             kStringEntries};

std::int32_t frameLmqIOServiceSendStructure(void* ioModule, frame::MsgIds& msgIds,
                                            frameLmqMessageHeader_t const& header,
                                            frame::TransportInfo const* destination,
                                            cspEndianTable_t const* table, void const* record) {
    std::function<std::int32_t(recording::Message const&)> onSend;
    recording::Message const* message = nullptr;
    {
        Access const access;
        auto const* const bytes = static_cast<unsigned char const*>(record);
        access->sent.push_back(
            {ioModule, &msgIds, msgIds, header, destination, table, {bytes, bytes + table->size}});
        if (!access->onSend) return 0;
        onSend = access->onSend;
        message = &access->sent.back();
    }
    return onSend(*message);
}

std::int32_t frameLmqIOServiceRegisterMessageHandlerFunction(void* ioModule,
                                                             frameLmqMessageHeader_t const& header,
                                                             frameLmqMessageHandler_t receiver,
                                                             void* context,
                                                             cspEndianTable_t const* table) {
    Access const access;
    access->receivers.push_back({ioModule, header, receiver, context, table});
    return access->onRegister ? access->onRegister(access->receivers.back()) : 0;
}
}

namespace frame {

MsgIds MsgIds::none{{0xFFFFFFFF, 0xFFFFFFFF}};

Process Process::getInstance() {
    Access const access;
    access->calls.emplace_back("getInstance");
    return {};
}

Process::~Process() {
    Access const access;
    access->calls.emplace_back("~Process");
}

std::int32_t Process::startAppMembersSync(ApplicationArrayFactory factory) {
    std::function<std::int32_t()> onStart;
    {
        Access const access;
        access->calls.emplace_back("startAppMembersSync");
        access->factory = factory;
        char const* const host = std::getenv("LMQR2_UDPHOST");
        access->udpHostAtStart = host != nullptr ? host : "";
        onStart = access->onStart;
    }
    std::int32_t const allowed = onStart ? onStart() : 0;
    if (allowed < 0) return allowed;
    void** const applications = factory();
    if (applications == nullptr) return -ENOMEM;
    auto* const member = static_cast<AbstractMarshallingImpl*>(applications[0]);
    std::free(static_cast<void*>(applications));
    {
        Access const access;
        access->receivers.clear();
        access->members.emplace_back(member);
    }
    return recording::bringUp(*member);
}

std::int32_t AbstractMarshallingImpl::performSetupDone() {
    return recording::note("performSetupDone");
}
std::int32_t AbstractMarshallingImpl::performStarting() {
    return recording::note("performStarting");
}
std::int32_t AbstractMarshallingImpl::performStopping() {
    return recording::note("performStopping");
}
std::int32_t AbstractComponent::registerInterface(void* interface, std::string const& name) {
    Access const access;
    access->calls.push_back("registerInterface " + name);
    std::int32_t const result = access->results["registerInterface"];
    if (result >= 0) access->interfaces[name] = interface;
    return result;
}
std::int32_t AbstractComponent::unregisterInterface(void* interface) {
    Access const access;
    access->calls.emplace_back("unregisterInterface");
    return std::erase_if(access->interfaces,
                         [=](auto const& published) { return published.second == interface; }) > 0
               ? 0
               : -ENOENT;
}

}  // namespace frame

namespace sound {

ClientInterfaceListener::ClientInterfaceListener(pthread_mutex_t* mutex, unsigned short first,
                                                 unsigned short second) {
    Access const access;
    if (mutex != nullptr || first != 0 || second != 0) {
        access->misuses.emplace_back("reserved listener arguments in use");
    }
    access->listeners.push_back(this);
}

ClientInterfaceListener::~ClientInterfaceListener() {
    Access const access;
    std::erase(access->listeners, this);
}

#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...)                             \
    std::int32_t ClientInterfaceListener::on##NAME##Notify(                           \
        frame::MsgIds&, frame::TransportInfo const& AUDVIK_PARAMETERS(__VA_ARGS__)) { \
        return recording::nothing(0 AUDVIK_ARGUMENTS(__VA_ARGS__));                   \
    }
#include "sound/messages.def"

std::int32_t ClientInterfaceListener::init() {
    {
        Access const access;
        access->calls.emplace_back("init");
        serviceInterface_ = access->service();
    }
    auto const self = self_.lock();
    if (!self) return -EINVAL;
    return serviceInterface_ != nullptr ? serviceInterface_.load()->addClient(self) : -ENOENT;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): so is the interface
void ClientInterfaceListener::setSelfReference(boost::shared_ptr<ClientInterfaceListener> self) {
    Access const access;
    access->calls.emplace_back("setSelfReference");
    self_ = self;
}

// What is published now: a test may have destroyed the interface that init() found.
ServiceInterface* ClientInterfaceListener::getSrvIf() {
    return platform().service();
}

}  // namespace sound
