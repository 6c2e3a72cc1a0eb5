#include "PipeDirectory.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace sound::service {

namespace {

constexpr char kTemplate[] = "/sound-service-XXXXXX";

}  // namespace

PipeDirectory::PipeDirectory() {
    if (char const* const runtime = std::getenv("XDG_RUNTIME_DIR"); runtime != nullptr) {
        path_ = std::string(runtime) + kTemplate;
        if (::mkdtemp(path_.data()) != nullptr) return;
    }
    path_ = std::string("/tmp") + kTemplate;
    if (::mkdtemp(path_.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot make a folder for the pipes, " + path_);
    }
}

PipeDirectory::~PipeDirectory() {
    ::rmdir(path_.c_str());
}

}  // namespace sound::service
