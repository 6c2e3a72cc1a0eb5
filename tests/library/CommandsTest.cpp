// What a command puts on the transport.
#include <cstring>
#include <stdexcept>
#include <tuple>

#include "LibraryTest.h"
#include "slots.h"

namespace {

using testing::ElementsAre;

template <class... Arguments>
using Command = std::int32_t (sound::ServiceInterface::*)(frame::MsgIds&,
                                                          frame::TransportInfo const&,
                                                          Arguments...);

/// Calls a command with an argument that is filled for the pass.
template <class... Arguments>
std::int32_t callFilled(Command<Arguments...> command, sound::ServiceInterface& service,
                        frame::MsgIds& msgIds, unsigned pass) {
    std::tuple<std::decay_t<Arguments>...> values;
    return std::apply(
        [&](auto&... value) {
            [[maybe_unused]] unsigned n = 0;
            (fill(value, pass, n), ...);
            return (service.*command)(msgIds, frame::TransportInfo{{pass}}, value...);
        },
        values);
}

struct ExpectedCommand {
    char const* name;
    std::uint32_t identifier;
    std::size_t bytes;
    char const* fields;
    std::size_t slot;
    std::int32_t (*call)(sound::ServiceInterface&, frame::MsgIds&, unsigned pass);
};

ExpectedCommand const kCommands[] = {
#define AUDVIK_EXPECTED_COMMAND(NAME, IDENTIFIER, BYTES, FIELDS)                        \
    {#NAME,                                                                             \
     IDENTIFIER,                                                                        \
     BYTES,                                                                             \
     FIELDS,                                                                            \
     slotOf(&sound::ServiceInterface::cmd##NAME),                                       \
     [](sound::ServiceInterface& service, frame::MsgIds& msgIds, unsigned pass) {       \
         return callFilled(&sound::ServiceInterface::cmd##NAME, service, msgIds, pass); \
     }},
#include "expected_interface.def"
};

class CommandTest : public ServiceTest, public testing::WithParamInterface<ExpectedCommand> {};

TEST_P(CommandTest, sendsItsRecord) {
    ExpectedCommand const& command = GetParam();
    std::string const name = command.name;
    EXPECT_EQ(command.slot, 2 + command.identifier - 0x28671236);
    cspEndianTable_t const* const table = exportedTable("soundMsgCmd" + name + "_t");
    expectTable(table, command.fields);

    for (unsigned pass = 0; pass < kPasses; ++pass) {
        platform().sent.clear();
        platform().log.clear();
        auto const status = static_cast<std::int32_t>(pass) - 4;
        platform().onSend = [=](auto const&) { return status; };
        EXPECT_EQ(command.call(*service_, msgIds_, pass), status);

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

        PackedRecord const expected = expectedRecord(command.fields, pass);
        std::size_t const growth = expected.texts.size() * (sizeof(void*) - 4);
        EXPECT_EQ(message.record.size(), command.bytes + growth);
        EXPECT_EQ(withoutAddresses(message.record, command.fields),
                  withoutAddresses(expected.bytes, command.fields));
        ASSERT_EQ(message.strings.size(), expected.texts.size());
        auto sent = message.strings.begin();
        for (std::string const& text : expected.texts) {
            EXPECT_EQ(sent->text, text);
            EXPECT_EQ(sent->terminator, '\0');
            ++sent;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, CommandTest, testing::ValuesIn(kCommands),
                         [](auto const& tested) { return tested.param.name; });

class CommandsTest : public ServiceTest {
protected:
    recording::Message const& lastSent() { return platform().sent.back(); }
};

TEST_F(CommandsTest, flagsTravelAsWordsAndBytesUnchanged) {
    auto const word = [&] {
        std::uint32_t value = 0;
        EXPECT_EQ(lastSent().record.size(), sizeof value);
        std::memcpy(&value, lastSent().record.data(), sizeof value);
        return value;
    };
    service_->cmdEnabelSoundAudioDataCB(msgIds_, transport_, true);
    EXPECT_EQ(word(), 1U);
    service_->cmdEnabelSoundAudioDataCB(msgIds_, transport_, false);
    EXPECT_EQ(word(), 0U);
    service_->cmdSoundModeInfoSet(msgIds_, transport_, -128);
    EXPECT_THAT(lastSent().record, ElementsAre(0x80));
    service_->cmdDTSDRC(msgIds_, transport_, 255);
    EXPECT_THAT(lastSent().record, ElementsAre(0xFF));
    service_->cmdInitAMP(msgIds_, transport_);
    EXPECT_THAT(lastSent().record, ElementsAre(0));
}

TEST_F(CommandsTest, theTransportsExceptionLeavesTheSender) {
    platform().onSend = [](auto const&) -> std::int32_t { throw std::runtime_error("cable cut"); };
    EXPECT_THROW(service_->cmdVolumeSet(msgIds_, transport_, {}), std::runtime_error);
    // Under the address sanitizer, a string's copy left behind would be reported.
    EXPECT_THROW(service_->cmdAudiolinkTest(msgIds_, transport_, "text"), std::runtime_error);
    EXPECT_THROW(service_->cmdZelmoSoundTest(msgIds_, transport_, {"text"}), std::runtime_error);
    EXPECT_THROW(
        service_->cmdSoundDTSSet_VirtualXParams(msgIds_, transport_, {1, "first", "second"}),
        std::runtime_error);
    EXPECT_EQ(service_->addClient(makeClient("A")), 0) << "no lock is held";
}

TEST_F(CommandsTest, registrationFollowsTheCommandsInTheInterface) {
    EXPECT_EQ(std::size(kCommands), 53U);
    EXPECT_EQ(slotOf(&sound::ServiceInterface::addClient), 55U);
    EXPECT_EQ(slotOf(&sound::ServiceInterface::removeClient), 56U);
}

TEST_F(CommandsTest, theProxysOwnTableHasTheFrameworksOrder) {
    std::vector<std::size_t> const slots = {
        slotOf(&sound::Proxy::attachProcess),
        slotOf(&sound::Proxy::detachProcess),
        slotOf(&sound::Proxy::setupDone),
        slotOf(&sound::Proxy::start),
        slotOf(&sound::Proxy::stop),
        slotOf(&sound::Proxy::performSetupDone),
        slotOf(&sound::Proxy::performStarting),
        slotOf(&sound::Proxy::performStopping),
        slotOf(&frame::AbstractComponent::getServiceId),
        slotOf(&frame::AbstractComponent::deliverEvent),
        slotOf(&frame::AbstractComponent::handleEvent),
        slotOf(&frame::AbstractComponent::registerEventHandler),
        slotOf(&frame::AbstractComponent::unregisterEventHandler),
        slotOf(&frame::AbstractApplication::deliverInternalEvent),
        slotOf(&frame::AbstractApplication::postEvent),
        slotOf(&frame::AbstractApplication::postInternalEvent),
        slotOf(&frame::AbstractApplication::scheduleEvents),
        slotOf(&frame::AbstractMarshallingImpl::setLmqIOModule),
        slotOf(&frame::AbstractMarshallingImpl::registerMessageHandlers),
        slotOf(&frame::AbstractMarshallingImpl::onIOConnectionConnected),
        slotOf(&frame::AbstractMarshallingImpl::onIOConnectionConnectionFailed),
        slotOf(&frame::AbstractMarshallingImpl::onIOConnectionDisconnected),
        slotOf(&sound::Proxy::cmdVolumeSet),
    };
    for (std::size_t i = 0; i < slots.size(); ++i) EXPECT_EQ(slots[i], 2 + i);
    EXPECT_EQ(slotOf(&sound::Proxy::removeClient), 2 + slots.size() + 53);
}

}  // namespace
