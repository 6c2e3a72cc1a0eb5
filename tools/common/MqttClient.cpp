#include "MqttClient.h"

#include <mqtt_protocol.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <new>
#include <tuple>

#include "errors.h"

namespace tools {

namespace {

using namespace std::chrono_literals;
using Seconds = std::chrono::duration<double>;

/// Within one and a half of it the broker knows that this end is gone.
constexpr int kKeepAlive = 10;  // in seconds
constexpr Seconds kFirstWait = 500ms;
constexpr Seconds kLongestWait = 30s;
constexpr int kConnectLimit = 5;  // in seconds

/// A list of properties.
class Properties {
public:
    Properties() = default;
    ~Properties() { mosquitto_property_free_all(&list_); }
    Properties(Properties const&) = delete;
    Properties& operator=(Properties const&) = delete;

    void add(int id, std::uint32_t value) {
        check(mosquitto_property_add_int32(&list_, id, value));
    }
    void add(int id, std::string const& text) {
        check(mosquitto_property_add_string(&list_, id, text.c_str()));
    }
    void addBytes(int id, std::string const& bytes) {
        check(mosquitto_property_add_binary(&list_, id, bytes.data(),
                                            static_cast<std::uint16_t>(bytes.size())));
    }
    void addPair(std::pair<std::string, std::string> const& pair) {
        check(mosquitto_property_add_string_pair(&list_, MQTT_PROP_USER_PROPERTY,
                                                 pair.first.c_str(), pair.second.c_str()));
    }
    mosquitto_property const* get() const { return list_; }

private:
    static void check(int status) {
        if (status == MOSQ_ERR_NOMEM) throw std::bad_alloc();
    }

    mosquitto_property* list_ = nullptr;
};

/// Has system calls of this thread that wait fail with EINTR every few seconds. The library takes
/// the limit of packets only where it waits for the connection, which the system does for minutes.
class Interrupter {
public:
    Interrupter() {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);  // without SA_RESTART
        sigevent event{};
        event.sigev_notify = SIGEV_THREAD_ID;
        event._sigev_un._tid = gettid();
        event.sigev_signo = SIGALRM;
        isOn_ = timer_create(CLOCK_MONOTONIC, &event, &timer_) == 0;
        itimerspec const time{{kConnectLimit, 0}, {kConnectLimit, 0}};
        if (isOn_) timer_settime(timer_, 0, &time, nullptr);
    }
    ~Interrupter() {
        if (isOn_) timer_delete(timer_);
    }
    Interrupter(Interrupter const&) = delete;
    Interrupter& operator=(Interrupter const&) = delete;

private:
    timer_t timer_{};
    bool isOn_ = false;
};

mosquitto* make(std::string const& id, void* owner) {
    static int const initialised = mosquitto_lib_init();
    auto* const made = mosquitto_new(id.empty() ? nullptr : id.c_str(), true, owner);
    if (initialised != MOSQ_ERR_SUCCESS || made == nullptr) throw std::bad_alloc();
    mosquitto_int_option(made, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(made, MOSQ_OPT_TCP_NODELAY, 1);
    return made;
}

std::string environment(char const* name) {
    char const* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string readPassword(std::string const& path) {
    if (path.empty()) return environment("AUDVIK_MQTT_PASSWORD");
    std::ifstream file(path);
    std::string password;
    if (!std::getline(file, password)) {
        throw UsageError(path + " cannot be read; its first line has to be the broker's password");
    }
    return password;
}

void authenticate(mosquitto* client, MqttOptions const& options) {
    auto const user = userName(options);
    auto const password = readPassword(options.passwordFile);
    if (user.empty() && password.empty()) return;
    mosquitto_username_pw_set(client, user.empty() ? nullptr : user.c_str(),
                              password.empty() ? nullptr : password.c_str());
}

void secure(mosquitto* client, MqttOptions const& options) {
    auto const orNull = [](std::string const& path) {
        return path.empty() ? nullptr : path.c_str();
    };
    for (auto const* const path : {&options.ca, &options.certificate, &options.key}) {
        if (!path->empty() && access(path->c_str(), R_OK) != 0) {
            throw UsageError(*path + " cannot be read: " + std::strerror(errno));
        }
    }
    if (options.certificate.empty() != options.key.empty()) {
        throw UsageError("a certificate and its key go together: give both --cert and --key");
    }
    if (options.ca.empty() && !options.key.empty()) {
        throw UsageError("a certificate of our own needs --ca, to check the broker by");
    }
    if (options.ca.empty()) return;
    int const status = mosquitto_tls_set(client, options.ca.c_str(), nullptr,
                                         orNull(options.certificate), orNull(options.key), nullptr);
    if (status != MOSQ_ERR_SUCCESS) throw UsageError(mosquitto_strerror(status));
}

/// Takes "HOST", "HOST:PORT" or "[IPV6]:PORT" apart.
std::pair<std::string, int> readAddress(MqttOptions const& options) {
    std::string host = options.broker;
    int port = options.ca.empty() ? 1883 : 8883;
    auto const colon = host.rfind(':');
    bool const hasPort = colon != std::string::npos &&
                         (host.find(':') == colon || (colon > 0 && host[colon - 1] == ']'));
    bool isRight = true;
    if (hasPort) {
        char const* const end = host.data() + host.size();
        auto const [stop, error] = std::from_chars(host.data() + colon + 1, end, port);
        isRight = error == std::errc{} && stop == end && port > 0 && port < 65536;
        host.resize(colon);
    }
    if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
    if (isRight && !host.empty()) return {host, port};
    throw UsageError('"' + options.broker +
                     "\" is no broker; expected is HOST or HOST:PORT, like "
                     "broker.example:1883");
}

std::string textOf(mosquitto_property const* properties, int id) {
    char* text = nullptr;
    if (mosquitto_property_read_string(properties, id, &text, false) == nullptr) return "";
    std::unique_ptr<char, decltype(&std::free)> const owner(text, &std::free);
    return text;
}

std::string bytesOf(mosquitto_property const* properties, int id) {
    void* bytes = nullptr;
    std::uint16_t size = 0;
    if (mosquitto_property_read_binary(properties, id, &bytes, &size, false) == nullptr) return "";
    std::unique_ptr<void, decltype(&std::free)> const owner(bytes, &std::free);
    return {static_cast<char const*>(bytes), size};
}

}  // namespace

std::string userName(MqttOptions const& options) {
    return options.user.empty() ? environment("AUDVIK_MQTT_USER") : options.user;
}

MqttClient::MqttClient(MqttOptions const& options, std::string const& id, Events events,
                       MqttMessage const& will)
    : mosquitto_(make(id, this), &mosquitto_destroy),
      events_(std::move(events)),
      wait_(kFirstWait) {
    std::tie(host_, port_) = readAddress(options);
    authenticate(mosquitto_.get(), options);
    secure(mosquitto_.get(), options);
    std::signal(SIGPIPE, SIG_IGN);  // a broker that has gone shows in the result of writing
    if (!will.topic.empty()) {
        mosquitto_will_set(mosquitto_.get(), will.topic.c_str(),
                           static_cast<int>(will.payload.size()), will.payload.data(), 0,
                           will.isRetained);
    }
    listen();
}

void MqttClient::listen() {
    auto* const client = mosquitto_.get();
    mosquitto_connect_v5_callback_set(
        client, [](mosquitto*, void* self, int reason, int, mosquitto_property const*) {
            static_cast<MqttClient*>(self)->refusal_ =
                reason != 0 ? mosquitto_reason_string(reason) : "";
            static_cast<MqttClient*>(self)->isConnected_ = reason == 0;
        });
    mosquitto_disconnect_v5_callback_set(
        client, [](mosquitto*, void* self, int reason, mosquitto_property const*) {
            // From 0x80 on it is the broker that says why.
            if (reason < 0x80) return;
            static_cast<MqttClient*>(self)->refusal_ = mosquitto_reason_string(reason);
        });
    mosquitto_log_callback_set(client, [](mosquitto*, void* self, int level, char const* text) {
        if (level == MOSQ_LOG_ERR) static_cast<MqttClient*>(self)->refusal_ = text;
    });
    mosquitto_message_v5_callback_set(
        client, [](mosquitto*, void* self, mosquitto_message const* message,
                   mosquitto_property const* properties) {
            auto& owner = *static_cast<MqttClient*>(self);
            try {
                owner.take(*message, properties);
            } catch (...) {
                owner.failure_ = std::current_exception();  // not through the library
            }
        });
}

MqttClient::~MqttClient() {
    if (!isConnected_) return;
    constexpr auto kFarewell = 1s;
    for (auto const end = Clock::now() + kFarewell; !isReady() && Clock::now() < end;) {
        auto polled = this->polled();
        poll(&polled, 1, 100);
        if (mosquitto_loop_write(mosquitto_.get(), 1) != MOSQ_ERR_SUCCESS) break;
    }
    // The library closes the connection right behind the goodbye. With something unread this resets
    // it, and a broker may then take us for dead before it reads on: so we wait for it to close.
    int const connection = dup(mosquitto_socket(mosquitto_.get()));
    mosquitto_disconnect(mosquitto_.get());
    pollfd polled{connection, POLLIN, 0};
    std::array<char, 4096> unread;
    while (poll(&polled, 1, 1000) > 0 && read(connection, unread.data(), unread.size()) > 0) {
    }
    close(connection);
}

void MqttClient::subscribe(std::string const& pattern, bool takesRetained) {
    int const retained =
        takesRetained ? MQTT_SUB_OPT_SEND_RETAIN_ALWAYS : MQTT_SUB_OPT_SEND_RETAIN_NEVER;
    mosquitto_subscribe_v5(mosquitto_.get(), nullptr, pattern.c_str(), 1, retained, nullptr);
}

void MqttClient::publish(MqttMessage const& message) {
    Properties properties;
    if (!message.responseTopic.empty()) {
        properties.add(MQTT_PROP_RESPONSE_TOPIC, message.responseTopic);
    }
    if (!message.correlation.empty()) {
        properties.addBytes(MQTT_PROP_CORRELATION_DATA, message.correlation);
    }
    for (auto const& pair : message.properties) properties.addPair(pair);
    mosquitto_publish_v5(mosquitto_.get(), nullptr, message.topic.c_str(),
                         static_cast<int>(message.payload.size()), message.payload.data(), 0,
                         message.isRetained, properties.get());
}

bool MqttClient::isReady() const {
    return isConnected_ && !mosquitto_want_write(mosquitto_.get());
}

pollfd MqttClient::polled() const {
    return {mosquitto_socket(mosquitto_.get()),
            static_cast<short>(mosquitto_want_write(mosquitto_.get()) ? POLLOUT : POLLIN), 0};
}

void MqttClient::work() {
    auto const now = Clock::now();
    if (mosquitto_socket(mosquitto_.get()) < 0) {
        if (now >= retryAt_) connect();
        return;
    }
    bool const wasConnected = isConnected_;
    auto polled = this->polled();
    int status = MOSQ_ERR_SUCCESS;
    if (poll(&polled, 1, 0) > 0) {
        status = polled.events == POLLOUT ? mosquitto_loop_write(mosquitto_.get(), 1)
                                          : mosquitto_loop_read(mosquitto_.get(), 1);
    }
    if (status == MOSQ_ERR_SUCCESS) status = mosquitto_loop_misc(mosquitto_.get());
    if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
    if (mosquitto_socket(mosquitto_.get()) < 0) {
        if (refusal_.empty()) {
            refusal_ = status == MOSQ_ERR_KEEPALIVE ? "no answer" : mosquitto_strerror(status);
        }
        return retryLater();
    }
    if (!isConnected_ || wasConnected) return;
    connectedAt_ = now;
    events_.connected();
}

void MqttClient::connect() {
    Properties properties;
    properties.add(MQTT_PROP_MAXIMUM_PACKET_SIZE, kLargestPacket);
    Interrupter const interrupter;
    int const status = mosquitto_connect_bind_v5(mosquitto_.get(), host_.c_str(), port_, kKeepAlive,
                                                 nullptr, properties.get());
    if (status == MOSQ_ERR_SUCCESS) return;
    if (refusal_.empty()) {
        refusal_ = status == MOSQ_ERR_ERRNO && errno == EINTR ? "no answer"
                   : status == MOSQ_ERR_ERRNO                 ? std::strerror(errno)
                                                              : mosquitto_strerror(status);
    }
    retryLater();
}

/// Each time after a longer while, and not all that have lost their broker at once. One that was
/// connected for a while begins anew: somebody else who uses the same name ends it at once.
void MqttClient::retryLater() {
    auto const now = Clock::now();
    if (isConnected_ && now - connectedAt_ > kLongestWait) wait_ = kFirstWait;
    isConnected_ = false;
    std::uniform_real_distribution<double> jitter(0.5, 1);
    retryAt_ = now + std::chrono::duration_cast<Clock::duration>(wait_ * jitter(random_));
    wait_ = std::min(wait_ * 2, kLongestWait);
    if (refusal_.ends_with('.')) refusal_.pop_back();
    events_.missed(std::exchange(refusal_, ""));
}

void MqttClient::take(mosquitto_message const& message, mosquitto_property const* properties) {
    events_.received({.topic = message.topic,
                      .payload = {static_cast<char const*>(message.payload),
                                  static_cast<std::size_t>(message.payloadlen)},
                      .responseTopic = textOf(properties, MQTT_PROP_RESPONSE_TOPIC),
                      .correlation = bytesOf(properties, MQTT_PROP_CORRELATION_DATA)});
}

std::string MqttClient::address() const {
    return (host_.find(':') != std::string::npos ? '[' + host_ + ']' : host_) + ':' +
           std::to_string(port_);
}

}  // namespace tools
