#include <cxxabi.h>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>

#include "audvik/audvik.h"
#include "csp/debug.h"
#include "debug_line.h"
#include "frame/Process.h"
#include "sound/ClientInterfaceListener.h"
#include "sound/export.h"
#include "sound/Proxy.h"

/// The agent's client of the sound service: turns announced audio data into callback invocations.
class AudvikClass : public sound::ClientInterfaceListener {
public:
    AudvikClass() : ClientInterfaceListener(nullptr, 0, 0) {}

    /// @return the bytes handed to the callback; 0 when there was nothing to hand over; -1 when
    ///         reading failed
    std::int32_t onAudioDataNotify(frame::MsgIds& msgIds, frame::TransportInfo const& transportInfo,
                                   std::string const& path, std::uint32_t length) override;
};

namespace {

constexpr std::uint32_t kLargestBlock = 16384;

// The listener reads the first two on the delivery thread without the lock: the service may
// deliver while set_audioCallback() waits for the transport.
std::atomic<audioCallback_t> callback;
std::atomic<void*> userData;
boost::shared_ptr<AudvikClass> listener;  // only through boost::atomic_load and atomic_store
pthread_mutex_t agentLock = PTHREAD_MUTEX_INITIALIZER;
std::array<unsigned char, kLargestBlock> dataBuffer;

/// Holds the agent lock.
class AgentGuard {
public:
    AgentGuard() { pthread_mutex_lock(&agentLock); }
    ~AgentGuard() { pthread_mutex_unlock(&agentLock); }
    AgentGuard(AgentGuard const&) = delete;
    AgentGuard& operator=(AgentGuard const&) = delete;
};

std::int32_t readDataFromPipe(std::string const& path, std::uint32_t length) {
    if (callback.load() == nullptr) return 0;
    dataBuffer.fill(0);
    if (length > kLargestBlock) {
        AUDVIK_DEBUG_LINE(kCspDebugError, __func__, "the dataLen[%d] is error\n",
                          static_cast<int>(length));
        return 0;
    }
    // Blocks until the service has opened its end. Never more than one block is in a pipe, so one
    // read takes it whole.
    int const descriptor = open(path.c_str(), O_RDONLY);
    if (descriptor == -1) {
        int const error = errno;  // before the log, which may change it
        AUDVIK_DEBUG_LINE(kCspDebugError, __func__, "open failed errno=%d\n", error);
        return 0;
    }
    ssize_t size = read(descriptor, dataBuffer.data(), length);
    if (size < 1) {
        int const error = errno;
        AUDVIK_DEBUG_LINE(kCspDebugError, __func__, "read failed errno=%d\n", error);
        usleep(1000);
        size = read(descriptor, dataBuffer.data(), length);
    }
    close(descriptor);
    auto const result = static_cast<std::int32_t>(size);
    if (result < 1) return result;
    callback.load()(dataBuffer.data(), result, userData.load());
    return result;
}

/// Turns the exception that is being handled into a status.
std::int32_t statusOfException(char const* name) {
    try {
        throw;
    } catch (std::bad_alloc const&) {
        AUDVIK_DEBUG_LINE(kCspDebugError, name, "out of memory\n");
        return -ENOMEM;
    } catch (std::exception const& error) {
        AUDVIK_DEBUG_LINE(kCspDebugError, name, "%s\n", error.what());
        return -EIO;
    } catch (...) {
        AUDVIK_DEBUG_LINE(kCspDebugError, name, "unknown exception\n");
        return -EIO;
    }
}

/// Runs what a C function does, turning exceptions into a status. That its thread is ended is none:
/// the C++ runtime tells of it by a reference to nothing, which is no fault.
template <class Function>
__attribute__((no_sanitize("null", "alignment"))) std::int32_t statusOf(char const* name,
                                                                        Function const& function) {
    try {
        return function();
    } catch (abi::__forced_unwind const&) {
        throw;
    } catch (...) {
        return statusOfException(name);
    }
}

std::int32_t startAgent(int argc, char** argv) {
    cspDebugInit(argc, argv);
    setenv("LMQR2_UDPHOST", AUDVIK_SERVICE_ADDRESS, 1);
    std::int32_t const started =
        frame::Process::getInstance().startAppMembersSync(&CreateSoundProxy);
    if (started < 0) return started;

    boost::shared_ptr<AudvikClass> const created(new AudvikClass);
    created->setSelfReference(created);
    boost::atomic_store(&listener, created);
    created->init();
    return 0;
}

std::int32_t requestAudio(std::int32_t enable, audioCallback_t newCallback, void* newUserData) {
    constexpr char kFunction[] = "set_audioCallback";
    AgentGuard const guard;
    userData = newUserData;
    std::printf("set_audioCallback= %d\n", enable);
    if (newCallback == nullptr) {
        AUDVIK_DEBUG_LINE(kCspDebugError, kFunction, "cb is NULL\n");
        return -1;
    }
    // In place before the command goes out: the first block may arrive before it returns.
    callback = newCallback;

    auto const current = boost::atomic_load(&listener);
    sound::ServiceInterface* const service = current ? current->getSrvIf() : nullptr;
    if (service == nullptr) {
        AUDVIK_DEBUG_LINE(
            kCspDebugError, kFunction,
            "no sound interface; call audioCB_init() first, and look at its result\n");
        return -ENOTCONN;
    }
    constexpr std::uint32_t kAny = 0xFFFFFFFF;
    frame::MsgIds msgIds{{kAny, kAny}};
    frame::TransportInfo const transportInfo{{kAny, kAny, 0, kAny, kAny, kAny, kAny}};
    service->cmdEnabelSoundAudioDataCB(msgIds, transportInfo, enable != 0);
    return 0;
}

}  // namespace

std::int32_t AudvikClass::onAudioDataNotify(frame::MsgIds& /*msgIds*/,
                                            frame::TransportInfo const& /*transportInfo*/,
                                            std::string const& path, std::uint32_t length) {
    return readDataFromPipe(path, length);
}

extern "C" {

AUDVIK_EXPORT std::int32_t audioCB_init(int argc, char** argv) {
    return statusOf("audioCB_init", [=] { return startAgent(argc, argv); });
}

AUDVIK_EXPORT std::int32_t set_audioCallback(std::int32_t enable, audioCallback_t newCallback,
                                             void* user_data) {
    return statusOf("set_audioCallback",
                    [=] { return requestAudio(enable, newCallback, user_data); });
}
}
