#pragma once

#include <boost/shared_ptr.hpp>
#include <string>

#include "Intake.h"
#include "sound/ClientInterfaceListener.h"

/// The agent in this process, as the recording's way to the sound service.
class ServiceConnection {
public:
    /// Starts the agent. Blocks go to @p intake, which must stay until the process ends.
    /// @throws std::runtime_error when it does not start
    ServiceConnection(Intake& intake, std::string const& debugLevel);

    /// Asks the service for sound; changes nothing when it is sending already.
    /// @return false when there is no service
    bool enable();

    /// Asks the service for no more sound.
    void disable();

private:
    Intake& intake_;
    boost::shared_ptr<sound::ClientInterfaceListener> listener_;
};
