#include "errors.h"
#include "fleet.h"

namespace sound::control {

namespace {

[[noreturn]] void refuse() {
    throw tools::Failure("this soundctl was built without libmosquitto, and knows no broker");
}

}  // namespace

void sendToFleet(FleetOptions const& /*fleet*/, SendOptions const& /*options*/) {
    refuse();
}

void monitorFleet(FleetOptions const& /*fleet*/, MonitorOptions const& /*options*/) {
    refuse();
}

void stateOfFleet(FleetOptions const& /*fleet*/, StateOptions const& /*options*/) {
    refuse();
}

}  // namespace sound::control
