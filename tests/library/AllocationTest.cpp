// What the library allocates, what becomes of it, and what happens when there is no memory.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "audvik/audvik.h"
#include "LibraryTest.h"

// The C library's own functions, which those below stand in front of.
extern "C" {
void* __libc_malloc(std::size_t size);
void __libc_free(void* memory);
}

namespace {

/// Counts the allocations that this thread makes outside the recorder, and makes one of them fail.
class Allocations {
public:
    /// @param failing  the number of the allocation that fails, from 0; none when negative
    explicit Allocations(int failing) : failing_(failing) { current = this; }
    ~Allocations() { stop(); }
    Allocations(Allocations const&) = delete;
    Allocations& operator=(Allocations const&) = delete;

    static void stop() { current = nullptr; }
    static Allocations* watching() { return recording::isRecording() ? nullptr : current; }

    bool allows() { return made_++ != failing_; }
    void note(void const* freed) {
        if (freed != nullptr && freed_ < freedMemory_.size()) freedMemory_[freed_++] = freed;
    }

    /// How many were made or refused so far.
    int made() const { return made_; }
    bool failed() const { return failing_ >= 0 && made_ > failing_; }
    std::vector<void const*> freed() const {
        std::vector<void const*> freed(freed_);
        std::copy_n(freedMemory_.begin(), freed_, freed.begin());
        return freed;
    }

private:
    static inline thread_local Allocations* current = nullptr;
    int failing_;
    int made_ = 0;
    std::array<void const*, 64> freedMemory_{};
    std::size_t freed_ = 0;
};

void* allocate(std::size_t size) {
    auto* const watching = Allocations::watching();
    if (watching != nullptr && !watching->allows()) return nullptr;
    return __libc_malloc(size);
}

}  // namespace

extern "C" {
void* malloc(std::size_t size) noexcept {
    return allocate(size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
    void* const memory = allocate(count * size);
    if (memory != nullptr) std::memset(memory, 0, count * size);
    return memory;
}
void free(void* memory) noexcept {
    if (auto* const watching = Allocations::watching()) watching->note(memory);
    __libc_free(memory);
}
}

namespace {

/// What happened to the heap meanwhile.
struct Outcome {
    int made;
    bool failed;
    std::vector<void const*> freed;
};

/// @param failing  the number of the allocation that fails; none when negative
template <class Action>
Outcome watch(Action const& action, int failing = -1) {
    Allocations const allocations(failing);
    action();
    Allocations::stop();
    return {allocations.made(), allocations.failed(), allocations.freed()};
}

class AllocationTest : public ProxyTest {
public:
    /// The addresses of the strings in the last message, last one first.
    static std::vector<void const*> copiesBackwards() {
        std::vector<void const*> copies;
        for (auto const& string : platform().sent.back().strings) {
            copies.insert(copies.begin(), string.characters);
        }
        return copies;
    }

    std::int32_t sendText() { return service_->cmdAudiolinkTest(msgIds_, transport_, text_); }
    std::int32_t sendOne() { return service_->cmdZelmoSoundTest(msgIds_, transport_, one_); }
    std::int32_t sendTwo() {
        return service_->cmdSoundDTSSet_VirtualXParams(msgIds_, transport_, two_);
    }

    std::string const text_ = "text";
    sound::zelmoSoundTestParams_t const one_{"text"};
    sound::soundDTSVirtualXParams_t const two_{1, "the first text", "the second text"};
};

TEST_F(AllocationTest, commandsWithoutStringsAllocateNothing) {
    sound::soundDap_t const largest{};
    auto const outcome = watch([&] {
        service_->cmdVolumeSet(msgIds_, transport_, {});
        service_->cmdDAPParams(msgIds_, transport_, largest);
        service_->cmdEnabelSoundAudioDataCB(msgIds_, transport_, true);
        service_->cmdInitAMP(msgIds_, transport_);
    });
    EXPECT_EQ(outcome.made, 0);
}

TEST_F(AllocationTest, eachStringIsCopiedOnceAndFreedLastOneFirst) {
    for (int const status : {0, -1}) {
        platform().onSend = [status](auto const&) { return status; };
        for (auto const& [number, send] : {std::pair{1, &AllocationTest::sendText},
                                           {1, &AllocationTest::sendOne},
                                           {2, &AllocationTest::sendTwo}}) {
            auto const outcome = watch([&] { EXPECT_EQ((this->*send)(), status); });
            EXPECT_EQ(outcome.made, number);
            EXPECT_EQ(outcome.freed, copiesBackwards());
        }
    }
    platform().onSend = [](auto const&) -> std::int32_t { throw 1; };
    auto freed = watch([&] { EXPECT_ANY_THROW(sendTwo()); }).freed;
    ASSERT_GE(freed.size(), 2U);
    freed.resize(2);  // the exception itself is freed behind them
    EXPECT_EQ(freed, copiesBackwards());
    EXPECT_EQ(service_->addClient(makeClient("A")), 0) << "no lock is held";
}

TEST_F(AllocationTest, withoutMemoryForACopyNothingIsSent) {
    auto const refused = watch([&] { EXPECT_EQ(sendText(), -ENOMEM); }, 0);
    EXPECT_TRUE(refused.freed.empty());
    watch([&] { EXPECT_THROW(sendOne(), std::bad_alloc); }, 0);
    for (int const failing : {0, 1}) {
        auto const outcome = watch([&] { EXPECT_THROW(sendTwo(), std::bad_alloc); }, failing);
        EXPECT_EQ(outcome.freed.size(), static_cast<std::size_t>(failing) + 1)
            << "what was copied, and the exception";
    }
    EXPECT_TRUE(platform().sent.empty());
}

/// Keeps nothing, so that it allocates nothing.
class SilentClient : public sound::ClientInterfaceListener {
public:
    SilentClient() : ClientInterfaceListener(nullptr, 0, 0) {}
};

TEST_F(AllocationTest, aFanOutAllocatesTheCopyOfTheList) {
    PackedRecord const scalars = expectedRecord("soundParamsInfo_t", 1);
    auto const deliver = [&] { platform().deliver(0x28671273, transport_, scalars.bytes.data()); };
    for (int const expected : {0, 1, 1}) {
        auto const outcome = watch(deliver);
        EXPECT_EQ(outcome.made, expected);
        EXPECT_EQ(outcome.freed.size(), static_cast<std::size_t>(expected));
        service_->addClient(boost::make_shared<SilentClient>());
    }
    watch([&] { EXPECT_THROW(deliver(), std::bad_alloc); }, 0);
    EXPECT_EQ(service_->removeClient({}), -2) << "no lock is held";
}

TEST_F(AllocationTest, aListThatCannotGrowStaysAsItWas) {
    auto const client = makeClient("A");
    watch([&] { EXPECT_THROW(service_->addClient(client), std::bad_alloc); }, 0);
    EXPECT_EQ(client.use_count(), 1);
    EXPECT_EQ(service_->removeClient(client), -2);
}

TEST_F(AllocationTest, startingWithoutMemoryGivesNullOrAStatus) {
    for (int const failing : {0, 1}) {
        auto const outcome = watch([] { EXPECT_EQ(CreateSoundProxy(), nullptr); }, failing);
        EXPECT_EQ(outcome.freed.size(), static_cast<std::size_t>(outcome.made - 1));
    }
    ASSERT_EQ(audioCB_init(0, nullptr), 0);  // the environment variable has its memory now
    for (int failing = 0;; ++failing) {
        ASSERT_LT(failing, 100);
        recording::resetPlatform();
        std::int32_t status = 1;
        auto const outcome = watch([&] { status = audioCB_init(0, nullptr); }, failing);
        EXPECT_EQ(status, outcome.failed ? -ENOMEM : 0) << "allocation " << failing;
        if (!outcome.failed) break;
    }
}

}  // namespace
