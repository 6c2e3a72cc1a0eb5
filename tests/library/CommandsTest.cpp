// What a command puts on the transport.
#include "call_filled.h"
#include "LibraryTest.h"

namespace {

using testing::ElementsAre;

struct Command {
    char const* name;
    std::int32_t (*call)(sound::ServiceInterface&, frame::MsgIds&, unsigned pass);
};

Command const kCommands[] = {
#define AUDVIK_COMMAND(NAME, ...)                                                        \
    {#NAME, [](sound::ServiceInterface& service, frame::MsgIds& msgIds, unsigned pass) { \
         return callFilled(&sound::ServiceInterface::cmd##NAME, service, msgIds, pass);  \
     }},
#include "sound/messages.def"
};

class CommandTest : public ProxyTest, public testing::WithParamInterface<Command> {};

TEST_P(CommandTest, sendsItsRecord) {
    std::string const name = GetParam().name;
    auto const& command = expected("command", name);
    cspEndianTable_t const* const table = exportedTable("soundMsgCmd" + name + "_t");
    expectTable(table, command.fields);

    for (unsigned pass = 0; pass < kPasses; ++pass) {
        platform().sent.clear();
        platform().log.clear();
        auto const status = static_cast<std::int32_t>(pass) - 4;
        platform().onSend = [&](auto const& message) {
            // Now: the strings are freed behind it.
            expectPacked(message.record, command.fields, pass);
            return status;
        };
        EXPECT_EQ(GetParam().call(*service_, msgIds_, pass), status);

        ASSERT_EQ(platform().sent.size(), 1U);
        recording::Message const& message = platform().sent.front();
        EXPECT_EQ(message.ioModule, &platform().ioModule);
        EXPECT_EQ(message.msgIds, &msgIds_);
        EXPECT_EQ(message.header.leadingWord, 0xFFFFFFFF);
        EXPECT_EQ(message.header.interfaceCode, 0x1CCD7773U);
        EXPECT_EQ(message.header.messageId, command.identifier);
        EXPECT_EQ(message.header.notification, 0);
        EXPECT_EQ(message.destination, nullptr);
        EXPECT_EQ(message.table, table);
        EXPECT_THAT(platform().log,
                    ElementsAre(proxyLine(kCspDebugTrace, "cmd" + name, "Called.\n")));
    }
}

INSTANTIATE_TEST_SUITE_P(All, CommandTest, testing::ValuesIn(kCommands),
                         [](auto const& tested) { return tested.param.name; });

}  // namespace
