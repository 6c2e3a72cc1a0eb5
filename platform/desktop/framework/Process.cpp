// Where the library enters the framework, and what it finds at the stations that it hooks into.

#include "frame/Process.h"

#include "frame/AbstractMarshallingImpl.h"
#include "Framework.h"

namespace frame {

Process Process::getInstance() {
    return {};
}

Process::~Process() = default;

std::int32_t Process::startAppMembersSync(ApplicationArrayFactory factory) {
    return desktop::Framework::instance().start(factory);
}

std::int32_t AbstractMarshallingImpl::performSetupDone() {
    return 0;
}
std::int32_t AbstractMarshallingImpl::performStarting() {
    return 0;
}
std::int32_t AbstractMarshallingImpl::performStopping() {
    return 0;
}

}  // namespace frame
