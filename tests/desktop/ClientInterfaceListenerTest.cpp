#include "sound/ClientInterfaceListener.h"

#include <boost/make_shared.hpp>
#include <cerrno>

#include "sound/interface_name.h"
#include "test_support.h"

namespace sound {
namespace {

/// Takes clients as it is told to.
class Registry : public ServiceInterface {
public:
#define AUDVIK_COMMAND(NAME, ...)                                                            \
    std::int32_t cmd##NAME(                                                                  \
        frame::MsgIds& msgIds,                                                               \
        frame::TransportInfo const& transportInfo AUDVIK_PARAMETERS(__VA_ARGS__)) override { \
        return send(msgIds, transportInfo AUDVIK_ARGUMENTS(__VA_ARGS__));                    \
    }
#include "sound/messages.def"
    std::int32_t addClient(boost::shared_ptr<ClientInterface> /*client*/) override {
        return status;
    }
    std::int32_t removeClient(boost::shared_ptr<ClientInterface> /*client*/) override {
        return 0;
    }

    std::int32_t status = 0;

private:
    template <class... Arguments>
    std::int32_t send(Arguments const&... /*arguments*/) {
        return 0;
    }
};

using ClientListener = desktop::test::Desktop;

TEST_F(ClientListener, HasAnInterfaceOnlyWhenItIsRegisteredThere) {
    auto const listener = boost::make_shared<ClientInterfaceListener>(nullptr, 0, 0);
    EXPECT_EQ(listener->init(), -ENOENT);
    EXPECT_EQ(listener->getSrvIf(), nullptr);

    Registry registry;
    auto* const member = connect();
    member->registerInterface(static_cast<ServiceInterface*>(&registry), kServiceInterfaceName);
    for (std::int32_t const status : {-ENOMEM, 0, -EEXIST, -EINVAL}) {
        registry.status = status;
        EXPECT_EQ(listener->init(), status);
        EXPECT_EQ(listener->getSrvIf() != nullptr, status == 0 || status == -EEXIST) << status;
    }
    member->unregisterInterface(static_cast<ServiceInterface*>(&registry));
}

}  // namespace
}  // namespace sound
