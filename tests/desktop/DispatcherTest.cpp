#include "Dispatcher.h"
#include "MessageHeader.h"

#include <gtest/gtest.h>

#include <functional>

#include "Datagram.h"
#include "IoModule.h"

namespace desktop {
namespace {

/// Counts the messages that reach it, and then does as it is told.
class CountingModule : public IoModule {
public:
    explicit CountingModule(Dispatcher& dispatcher) : IoModule(dispatcher) {
        static constexpr cspEndianEntry_t kEnd{0, kCspEndianEnd, {.word = UINTPTR_MAX}};
        static constexpr cspEndianTable_t kEmpty{1, &kEnd};
        dispatcher.add({this, 1, 2,
                        [](auto const&, auto const&, void const*, void* context) {
                            auto& self = *static_cast<CountingModule*>(context);
                            ++self.count;
                            if (self.react) self.react();
                            return 0;
                        },
                        this, &kEmpty});
    }
    std::int32_t send(Payload /*message*/, frame::TransportInfo const*) override { return 0; }

    int count = 0;
    std::function<void()> react;
};

TEST(Dispatcher, WhoComesInPlaceOfOneThatHadTheMessageDoesNotGetItToo) {
    Dispatcher dispatcher;
    CountingModule first(dispatcher);
    CountingModule second(dispatcher);
    CountingModule newFirst(dispatcher);
    CountingModule newSecond(dispatcher);
    CountingModule newestFirst(dispatcher);
    IoModule* const modules[] = {&first, &second, &newFirst, &newSecond, &newestFirst};
    dispatcher.exchange({&modules[0], 2}, {});
    second.react = [&] {
        dispatcher.exchange({&modules[2], 1}, {&modules[0], 1});
        dispatcher.exchange({&modules[3], 1}, {&modules[1], 1});
        dispatcher.exchange({&modules[4], 1}, {&modules[2], 1});
    };
    auto message = encodeMessageHeader({{0xFFFFFFFF, 1, 2, 1}, {}});
    for (int expected : {0, 1}) {
        ASSERT_EQ(dispatcher.deliver(message, {}), nullptr);
        EXPECT_EQ(newSecond.count, expected);
        EXPECT_EQ(newestFirst.count, expected);
    }
    EXPECT_EQ(first.count + second.count, 2);
    EXPECT_EQ(newFirst.count, 0);
}

}  // namespace
}  // namespace desktop
