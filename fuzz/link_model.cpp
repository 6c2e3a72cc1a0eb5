// Two ends of a session and a network between them that loses, repeats, delays and overtakes, with
// time simulated. Each run draws its own limits, network and traffic, and holds both ends to what
// the protocol promises at every step. One that fails says its seed; --seed runs it again.

#include <algorithm>
#include <array>
#include <CLI/CLI.hpp>
#include <cstdio>
#include <deque>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Link.h"

namespace {

using namespace desktop;
using namespace std::chrono_literals;
using std::chrono::microseconds;
using std::chrono::milliseconds;

void require(bool holds, char const* promise) {
    if (!holds) throw std::runtime_error(promise);
}

class Random {
public:
    explicit Random(std::uint64_t seed) : engine_(seed) {}

    bool chance(double probability) {
        return static_cast<double>(engine_() >> 11) * 0x1p-53 < probability;
    }
    std::uint32_t number(std::uint32_t least, std::uint32_t most) {
        return least + static_cast<std::uint32_t>(engine_() % (most - least + 1));
    }
    template <class Duration>
    Duration time(Duration least, Duration most) {
        return Duration(number(static_cast<std::uint32_t>(least.count()),
                               static_cast<std::uint32_t>(most.count())));
    }

private:
    std::mt19937_64 engine_;
};

/// What a run draws once.
struct Setup {
    explicit Setup(Random& random) {
        // The usual ones in part of the runs.
        if (random.chance(0.7)) {
            limits.acknowledgeDelay = random.time(1ms, 200ms);
            limits.acknowledgeAge = random.time(0ms, limits.acknowledgeDelay);
            limits.acknowledgeCount = random.number(1, 20);
            limits.acknowledgeBytes = random.number(1, 20'000);
            limits.firstRetry = random.time(50ms, 400ms);
            limits.lastRetry = random.time(limits.firstRetry, 1500ms);
            limits.pingInterval = random.time(200ms, 2000ms);
            limits.idlePingInterval = random.time(200ms, 2000ms);
            limits.pingRepeat = random.time(100ms, 1000ms);
            limits.pingsUnanswered = random.number(1, 5);
            limits.maxInFlight = random.number(1, 40);
            limits.maxBytesInFlight = random.number(1, 70'000);
        }
        for (auto& capacity : capacities) {
            capacity = random.number(1, random.chance(0.5) ? 8 : 300);
        }
        isPerfect = random.chance(0.3);
        if (!isPerfect) {
            loss = random.chance(0.8) ? 0.3 * static_cast<double>(random.number(1, 100)) / 100 : 0;
            repetition = random.chance(0.5) ? 0.3 : 0;
            slowest = random.time(fastest, random.chance(0.2) ? 900'000us : 30'000us);
        }
        slowestReceiver = random.time(1us, random.chance(0.3) ? 300'000us : 3000us);
    }

    LinkLimits limits;
    std::array<std::uint32_t, 2> capacities{};
    bool isPerfect = false;  // keeps the order, too
    double loss = 0;
    double repetition = 0;
    microseconds fastest{100};
    microseconds slowest{100};
    microseconds slowestReceiver{0};
};

class Run {
public:
    explicit Run(std::uint64_t seed)
        : random_(seed),
          setup_(random_),
          ends_{End(setup_, 1, setup_.capacities[0], now_),
                End(setup_, 1, setup_.capacities[1], now_)} {
        for (auto& end : ends_) end.left = random_.number(0, 120);
        introduce();
    }

    void toTheEnd() {
        if (random_.chance(0.3)) forgetAt_ = now_ + random_.time(0ms, 3000ms);
        while (!isDone()) {
            if (!step()) return;
        }
        cut_ = true;
        forgetAt_.reset();
        flying_.clear();
        for (auto& end : ends_) {
            end.first.clear();
            if (random_.chance(0.5)) submit(end);
            pump(end);
        }
        while (step()) continue;
        // What is sent then goes out again and again, until the peer counts as silent.
        for (auto& end : ends_) require(keepsRhythm(end), "repeats after ever longer times");
    }

private:
    struct End {
        End(Setup const& setup, std::uint64_t session, std::uint32_t room, TimePoint now)
            : link(session, room, setup.limits, now), capacity(room), heard(now) {}

        Link link;
        std::uint32_t capacity;
        TimePoint heard;
        bool heardMessage = true;  // when it heard last; for what it waits first
        std::uint32_t left = 0;    // to be sent
        TimePoint submitAt;
        std::vector<Payload> messages;     // what was sent in this session
        std::uint32_t sent = 0;            // the first number that never went out
        std::deque<TimePoint> held;        // until when
        std::uint32_t taken = 0;           // in this session
        std::uint32_t limit = 0;           // the furthest that the peer was told
        std::uint32_t unacknowledged = 0;  // to the peer
        std::size_t unacknowledgedBytes = 0;
        TimePoint unacknowledgedSince;
        bool mustAnswer = false;
        std::vector<TimePoint> first;  // when the first that is not acknowledged was sent
    };
    struct Flight {
        End* to;
        Link::Outgoing datagram;
    };

    End& peerOf(End const& end) { return &end == &ends_[0] ? ends_[1] : ends_[0]; }

    /// What the registration tells each of the other.
    void introduce() {
        auto& [client, service] = ends_;
        for (auto* const end : {&client, &service}) {
            auto const kind = end == &client ? Kind::kHello : Kind::kWelcome;
            auto const header = end->link.makeHeader(kind);
            checkHeader(*end, header);
            auto& peer = peerOf(*end);
            peer.heard = now_;
            peer.heardMessage = false;
            require(!peer.link.receive(header, 0, now_), "a registration is no message");
        }
    }

    void submit(End& end) {
        auto made = newPayload();
        made->bytes.resize(random_.number(1, random_.chance(0.1) ? 30'000 : 300));
        end.messages.emplace_back(std::move(made));
        end.link.send(end.messages.back(), now_);
        lastProgress_ = now_;
    }

    bool isDone() const {
        return std::all_of(ends_.begin(), ends_.end(), [](auto const& end) {
            return end.left == 0 && end.link.queued() == 0 && end.held.empty();
        });
    }

    /// Goes to the next point in time at which anything happens.
    /// @return false when an end takes the other for silent
    bool step() {
        auto next = std::min(ends_[0].link.deadline(), ends_[1].link.deadline());
        if (!flying_.empty()) next = std::min(next, flying_.begin()->first);
        if (forgetAt_) next = std::min(next, *forgetAt_);
        for (auto const& end : ends_) {
            if (!end.held.empty()) next = std::min(next, end.held.front());
            if (!cut_ && end.left > 0) next = std::min(next, end.submitAt);
        }
        now_ = std::max(now_, next);
        require(cut_ || now_ - lastProgress_ < 120s, "a session goes on or ends");
        if (forgetAt_ && now_ >= *forgetAt_) forget();
        while (!flying_.empty() && flying_.begin()->first <= now_) arrive();
        for (auto& end : ends_) {
            if (isSilent(end)) return false;
            act(end);
            pump(end);
        }
        return true;
    }

    bool isSilent(End& end) const {
        auto const& limits = setup_.limits;
        auto const patience = end.heardMessage ? limits.pingInterval : limits.idlePingInterval;
        auto const limit = patience + limits.pingRepeat * limits.pingsUnanswered;
        bool const silent = now_ >= end.heard + limit;
        require(end.link.isSilent(now_) == silent, "silence is found in time, and not before");
        require(!silent || cut_ || !setup_.isPerfect, "whoever answers is not silent");
        return silent;
    }

    void act(End& end) {
        while (!end.held.empty() && end.held.front() <= now_) {
            end.held.pop_front();
            end.link.consumed();
            lastProgress_ = now_;
        }
        if (cut_ || end.left == 0 || now_ < end.submitAt) return;
        for (auto burst = std::min(end.left, random_.number(1, 20)); burst > 0;
             --burst, --end.left) {
            submit(end);
        }
        end.submitAt = now_ + random_.time(0us, 400'000us);
        if (random_.chance(0.1)) {
            end.link.hurry();
            end.mustAnswer = true;
        }
    }

    /// The service has begun anew, and the client does so, too.
    void forget() {
        forgetAt_.reset();
        auto& [client, service] = ends_;
        client.messages.erase(client.messages.begin(),
                              client.messages.begin() + client.link.acknowledged());
        if (random_.chance(0.3)) {
            client.link.dropQueued();
            client.messages.clear();
        }
        auto const left = service.left;
        service = End(setup_, 2, service.capacity, now_);
        service.left = left;
        client.link.restart(2, now_);
        require(client.link.queued() == client.messages.size(), "what is queued is kept");
        client.sent = client.taken = client.limit = 0;
        forgetUnacknowledged(client);
        if (random_.chance(0.5)) {
            auto switchOn = newPayload();
            switchOn->bytes.resize(random_.number(1, 100));
            client.messages.insert(client.messages.begin(), switchOn);
            client.link.sendFirst(switchOn, now_);
        }
        introduce();
    }

    void arrive() {
        auto const [to, datagram] = flying_.begin()->second;
        flying_.erase(flying_.begin());
        auto const& header = datagram.header;
        if (header.session != to->link.session()) return;
        to->heard = now_;
        to->heardMessage = header.kind == Kind::kData;
        auto const size = datagram.payload ? datagram.payload->bytes.size() : 0;
        bool const isNext = header.kind == Kind::kData && header.sequence == to->taken &&
                            to->held.size() < to->capacity;
        auto const before = to->link.acknowledged();
        require(to->link.receive(header, size, now_) == isNext,
                "the next message is taken while there is room, and nothing else");
        if (to->link.acknowledged() != before) {
            lastProgress_ = now_;
            to->first.clear();
        }
        if (header.kind == Kind::kPing || (header.kind == Kind::kData && !isNext)) {
            to->mustAnswer = true;
        }
        if (isNext) take(*to, datagram.payload);
    }

    void take(End& end, Payload const& payload) {
        require(payload == peerOf(end).messages[end.taken], "messages keep their order");
        ++end.taken;
        auto const until = now_ + random_.time(1us, setup_.slowestReceiver);
        end.held.push_back(end.held.empty() ? until : std::max(until, end.held.back()));
        if (end.unacknowledged++ == 0) end.unacknowledgedSince = now_;
        end.unacknowledgedBytes += payload->bytes.size();
        auto const& limits = setup_.limits;
        end.mustAnswer = end.mustAnswer || end.unacknowledged >= limits.acknowledgeCount ||
                         end.unacknowledgedBytes >= limits.acknowledgeBytes ||
                         now_ - end.unacknowledgedSince >= limits.acknowledgeAge;
        lastProgress_ = now_;
    }

    /// Sends what is due.
    void pump(End& end) {
        std::size_t count = 0;
        while (auto const datagram = end.link.next(now_)) {
            require(++count <= setup_.limits.maxInFlight + 2, "one step sends a window at most");
            checkHeader(end, datagram->header);
            if (datagram->header.kind == Kind::kData) checkMessage(end, *datagram);
            carry(peerOf(end), *datagram);
        }
        // A message that hurries asks even if nothing else is to be said.
        require(!end.mustAnswer || end.link.queued() == 0 || count > 0, "an answer goes at once");
        require(end.unacknowledged == 0 ||
                    now_ < end.unacknowledgedSince + setup_.limits.acknowledgeDelay,
                "messages are acknowledged in time");
        end.mustAnswer = false;
        require(end.link.deadline() > now_, "nothing is left that is due");
        checkQueue(end);
    }

    void checkHeader(End& end, DatagramHeader const& header) {
        require(header.session == end.link.session(), "a datagram has its session");
        require(header.acknowledge == end.taken, "what was taken is acknowledged, and no more");
        require(header.credit == end.capacity - end.held.size(), "the credit is the room left");
        end.limit = std::max(end.limit, header.acknowledge + header.credit);
        forgetUnacknowledged(end);
        end.mustAnswer = false;
    }

    void checkMessage(End& end, Link::Outgoing const& datagram) {
        auto const number = datagram.header.sequence;
        auto const first = end.link.acknowledged();
        require(number >= first && number < end.messages.size() &&
                    datagram.payload == end.messages[number],
                "a message has its number, and is not sent when acknowledged");
        require(number <= end.sent, "no message is left out");
        require(number < peerOf(end).limit, "no more is sent than the peer has room for");
        require(number - first < setup_.limits.maxInFlight, "messages in flight are bounded");
        std::size_t bytes = 0;
        for (auto i = first; i <= number; ++i) bytes += end.messages[i]->bytes.size();
        require(number == first || bytes <= setup_.limits.maxBytesInFlight,
                "bytes in flight are bounded");
        end.sent = std::max(end.sent, number + 1);
        if (number == first) end.first.push_back(now_);
    }

    void checkQueue(End& end) {
        auto const first = end.link.acknowledged();
        require(first <= peerOf(end).taken, "only what has arrived counts as acknowledged");
        require(end.link.queued() == end.messages.size() - first,
                "what is not acknowledged is kept");
        std::size_t bytes = 0;
        for (auto i = first; i < end.messages.size(); ++i) bytes += end.messages[i]->bytes.size();
        require(end.link.queuedBytes() == bytes, "bytes in the queue are counted");
    }

    static void forgetUnacknowledged(End& end) {
        end.unacknowledged = 0;
        end.unacknowledgedBytes = 0;
    }

    void carry(End& to, Link::Outgoing const& datagram) {
        if (cut_) return;
        do {
            if (random_.chance(setup_.loss)) continue;
            flying_.emplace(now_ + random_.time(setup_.fastest, setup_.slowest),
                            Flight{&to, datagram});
        } while (random_.chance(setup_.repetition));
    }

    bool keepsRhythm(End const& end) const {
        auto interval = setup_.limits.firstRetry;
        for (std::size_t i = 1; i < end.first.size(); ++i) {
            if (end.first[i] - end.first[i - 1] != interval) return false;
            interval = std::min(2 * interval, setup_.limits.lastRetry);
        }
        return true;
    }

    Random random_;
    Setup setup_;
    TimePoint now_{1h};
    std::array<End, 2> ends_;  // the client and the service
    std::multimap<TimePoint, Flight> flying_;
    std::optional<TimePoint> forgetAt_;
    TimePoint lastProgress_ = now_;
    bool cut_ = false;
};

}  // namespace

int main(int argc, char** argv) {
    std::uint64_t seed = 1;
    std::uint64_t runs = 1;
    CLI::App app("Holds the transport's protocol to its promises in simulated networks.",
                 "link-model");
    app.add_option("--seed", seed, "of the first run; each further run has the next one")
        ->capture_default_str();
    app.add_option("--runs", runs, "how many")->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    for (auto const last = seed + (runs - 1); seed <= last; ++seed) {
        try {
            Run(seed).toTheEnd();
        } catch (std::exception const& error) {
            std::fprintf(stderr, "link-model: broken: \"%s\"; again with --seed %llu\n",
                         error.what(), static_cast<unsigned long long>(seed));
            return 1;
        }
    }
    std::printf("%llu runs, nothing broken\n", static_cast<unsigned long long>(runs));
}
