// What the library allocates, what becomes of it, and what happens when there is no memory.
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

/// What this thread does to the heap, outside the recorder.
struct Heap {
    bool watched = false;
    int failing = -1;  ///< the number of the allocation that fails, from 0; none when negative
    int made = 0;      ///< or refused
    std::array<void const*, 64> freed{};
    std::size_t freedCount = 0;
};
constinit thread_local Heap heap;

bool isWatched() {
    return heap.watched && !recording::isRecording();
}

void* allocate(std::size_t size) {
    if (isWatched() && heap.made++ == heap.failing) return nullptr;
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
    bool const isNoted = memory != nullptr && isWatched() && heap.freedCount < heap.freed.size();
    if (isNoted) heap.freed[heap.freedCount++] = memory;
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
    heap = {.watched = true, .failing = failing};
    action();
    heap.watched = false;
    return {heap.made, failing >= 0 && heap.made > failing,
            std::vector(heap.freed.begin(), heap.freed.begin() + heap.freedCount)};
}

class AllocationTest : public ProxyTest {
public:
    /// The addresses of the strings in the last message, last one first.
    static std::vector<void const*> copiesBackwards(std::string_view fields) {
        auto const copies = charactersOf(platform().sent.back().record, fields);
        return {copies.rbegin(), copies.rend()};
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
        for (auto const& [fields, number, send] :
             {std::tuple{"s", 1, &AllocationTest::sendText},
              {"zelmoSoundTestParams_t", 1, &AllocationTest::sendOne},
              {"soundDTSVirtualXParams_t", 2, &AllocationTest::sendTwo}}) {
            auto const outcome = watch([&] { EXPECT_EQ((this->*send)(), status); });
            EXPECT_EQ(outcome.made, number);
            EXPECT_EQ(outcome.freed, copiesBackwards(fields));
        }
    }
    platform().onSend = [](auto const&) -> std::int32_t { throw 1; };
    auto freed = watch([&] { EXPECT_ANY_THROW(sendTwo()); }).freed;
    ASSERT_GE(freed.size(), 2U);
    freed.resize(2);  // the exception itself is freed behind them
    EXPECT_EQ(freed, copiesBackwards("soundDTSVirtualXParams_t"));
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
