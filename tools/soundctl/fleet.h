/// @file
/// What soundctl does with sets that are on an MQTT broker, by their bridges.
#pragma once

#include <string>

#include "MqttOptions.h"
#include "subcommands.h"

namespace sound::control {

struct FleetOptions {
    tools::MqttOptions broker;
    std::string set = "*";  ///< the name of one, or all
};

/// Sends a command to them and prints who answered what.
/// @throws tools::Failure when one did not take it
void sendToFleet(FleetOptions const& fleet, SendOptions const& options);

/// Prints their notifications until SIGINT or SIGTERM.
void monitorFleet(FleetOptions const& fleet, MonitorOptions const& options);

/// Prints the last of each notification that the broker knows.
void stateOfFleet(FleetOptions const& fleet, StateOptions const& options);

}  // namespace sound::control
