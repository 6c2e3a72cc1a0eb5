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
    explicit Allocations(int failing = -1) : failing_(failing) { current = this; }
    ~Allocations() { current = nullptr; }
    Allocations(Allocations const&) = delete;
    Allocations& operator=(Allocations const&) = delete;

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

using testing::IsEmpty;

class AllocationTest : public ProxyTest {
protected:
    /// The addresses of the strings in the last message, last one first.
    static std::vector<void const*> copiesBackwards() {
        std::vector<void const*> copies;
        for (auto const& string : platform().sent.back().strings) {
            copies.insert(copies.begin(), string.characters);
        }
        return copies;
    }

    sound::soundDTSVirtualXParams_t const twoStrings_{1, "the first text", "the second text"};
    sound::zelmoSoundTestParams_t const oneString_{"text"};
};

TEST_F(AllocationTest, commandsWithoutStringsAllocateNothing) {
    sound::soundDap_t const largest{};
    Allocations const allocations;
    service_->cmdVolumeSet(msgIds_, transport_, {});
    service_->cmdDAPParams(msgIds_, transport_, largest);
    service_->cmdEnabelSoundAudioDataCB(msgIds_, transport_, true);
    service_->cmdInitAMP(msgIds_, transport_);
    EXPECT_EQ(allocations.made(), 0);
}

TEST_F(AllocationTest, eachStringIsCopiedOnceAndFreedLastOneFirst) {
    std::string const text = "text";
    auto const expectCopies = [](int number, auto const& command) {
        for (int const status : {0, -1}) {
            platform().onSend = [status](auto const&) { return status; };
            std::vector<void const*> freed;
            {
                Allocations const allocations;
                EXPECT_EQ(command(), status);
                EXPECT_EQ(allocations.made(), number);
                freed = allocations.freed();
            }
            EXPECT_EQ(freed, copiesBackwards());
        }
    };
    expectCopies(1, [&] { return service_->cmdAudiolinkTest(msgIds_, transport_, text); });
    expectCopies(1, [&] { return service_->cmdZelmoSoundTest(msgIds_, transport_, oneString_); });
    expectCopies(2, [&] {
        return service_->cmdSoundDTSSet_VirtualXParams(msgIds_, transport_, twoStrings_);
    });
}

TEST_F(AllocationTest, stringsAreFreedWhenTheSendThrows) {
    std::vector<void const*> freed;
    platform().onSend = [](auto const&) -> std::int32_t { throw 1; };
    {
        Allocations const allocations;
        EXPECT_ANY_THROW(service_->cmdSoundDTSSet_VirtualXParams(msgIds_, transport_, twoStrings_));
        freed = allocations.freed();
    }
    auto const copies = copiesBackwards();
    ASSERT_GE(freed.size(), 2U);
    EXPECT_THAT(std::vector(freed.begin(), freed.begin() + 2), copies);
    EXPECT_EQ(service_->addClient(makeClient("A")), 0) << "no lock is held";
}

TEST_F(AllocationTest, withoutMemoryForACopyNothingIsSent) {
    std::string const text = "text";
    {
        Allocations const allocations(0);
        EXPECT_EQ(service_->cmdAudiolinkTest(msgIds_, transport_, text), -ENOMEM);
        EXPECT_THAT(allocations.freed(), IsEmpty());
    }
    {
        Allocations const allocations(0);
        EXPECT_THROW(service_->cmdZelmoSoundTest(msgIds_, transport_, oneString_), std::bad_alloc);
    }
    for (int const failing : {0, 1}) {
        std::size_t freed = 0;
        {
            Allocations const allocations(failing);
            EXPECT_THROW(service_->cmdSoundDTSSet_VirtualXParams(msgIds_, transport_, twoStrings_),
                         std::bad_alloc);
            freed = allocations.freed().size();
        }
        // The exception itself is freed, too.
        EXPECT_EQ(freed, static_cast<std::size_t>(failing) + 1);
    }
    EXPECT_THAT(platform().sent, IsEmpty());
}

/// Keeps nothing, so that it allocates nothing.
class SilentClient : public sound::ClientInterfaceListener {
public:
    SilentClient() : ClientInterfaceListener(nullptr, 0, 0) {}
};

TEST_F(AllocationTest, aFanOutAllocatesTheCopyOfTheList) {
    PackedRecord const scalars = expectedRecord("soundParamsInfo_t", 1);
    for (int const expected : {0, 1, 1}) {
        {
            Allocations const allocations;
            platform().deliver(0x28671273, transport_, scalars.bytes.data());
            EXPECT_EQ(allocations.made(), expected);
            EXPECT_EQ(allocations.freed().size(), static_cast<std::size_t>(expected));
        }
        service_->addClient(boost::make_shared<SilentClient>());
    }
    Allocations const allocations(0);
    EXPECT_THROW(platform().deliver(0x28671273, transport_, scalars.bytes.data()), std::bad_alloc);
    EXPECT_EQ(service_->removeClient({}), -2) << "no lock is held";
}

TEST_F(AllocationTest, aListThatCannotGrowStaysAsItWas) {
    auto const client = makeClient("A");
    {
        Allocations const allocations(0);
        EXPECT_THROW(service_->addClient(client), std::bad_alloc);
    }
    EXPECT_EQ(client.use_count(), 1);
    EXPECT_EQ(service_->removeClient(client), -2);
}

TEST_F(AllocationTest, theFactoryReturnsNullWithoutMemory) {
    for (int const failing : {0, 1}) {
        Allocations const allocations(failing);
        EXPECT_EQ(CreateSoundProxy(), nullptr);
        int const made = allocations.made();  // before the list of the freed ones is made
        EXPECT_EQ(allocations.freed().size(), static_cast<std::size_t>(made - 1));
    }
}

TEST_F(AllocationTest, startingTheAgentWithoutMemoryGivesAStatus) {
    ASSERT_EQ(audioCB_init(0, nullptr), 0);  // the environment variable has its memory now
    for (int failing = 0;; ++failing) {
        ASSERT_LT(failing, 100);
        recording::resetPlatform();
        Allocations const allocations(failing);
        std::int32_t const status = audioCB_init(0, nullptr);
        if (!allocations.failed()) {
            EXPECT_EQ(status, 0);
            break;
        }
        EXPECT_EQ(status, -ENOMEM) << "allocation " << failing;
    }
}

}  // namespace
