#include "SoundSource.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <utility>

#include "audvik/audvik.h"
#include "errors.h"
#include "sound/ClientInterfaceListener.h"

namespace tools {

namespace {

/// Gives the samples of a block to whoever takes it in. The agent hands a block over before its
/// announcement is heard here, so it is held until then.
class Distributor : public sound::ClientInterfaceListener {
public:
    Distributor() : ClientInterfaceListener(nullptr, 0, 0) {
        constexpr std::size_t kLargestBlock = 16384;
        held_.reserve(kLargestBlock);  // nothing fails for want of memory later
    }

    void hold(unsigned char const* data, std::size_t size) { held_.assign(data, data + size); }

    /// Called after the agent has dealt with the block, having registered behind it.
    std::int32_t onAudioDataNotify(frame::MsgIds& /*msgIds*/,
                                   frame::TransportInfo const& /*transportInfo*/,
                                   std::string const& path, std::uint32_t /*length*/) override {
        std::lock_guard const lock(mutex_);
        for (auto const& intake : intakes_) intake->announce(path, held_);
        held_.clear();
        return 0;
    }

    void add(std::shared_ptr<SoundIntake> intake) {
        std::lock_guard const lock(mutex_);
        intakes_.push_back(std::move(intake));
    }

    /// @return how many are left
    std::size_t remove(std::shared_ptr<SoundIntake> const& intake) {
        std::lock_guard const lock(mutex_);
        std::erase(intakes_, intake);
        return intakes_.size();
    }

private:
    std::vector<unsigned char> held_;  ///< the delivery thread's
    std::mutex mutex_;
    std::vector<std::shared_ptr<SoundIntake>> intakes_;  ///< under mutex_
};

void takeBlock(unsigned char const* data, std::int32_t size, void* distributor) {
    static_cast<Distributor*>(distributor)->hold(data, static_cast<std::size_t>(size));
}

/// While it lives, what is printed goes nowhere: the agent prints, and standard output may be
/// somebody's data.
class NoPrinting {
public:
    NoPrinting() : nowhere_(std::fopen("/dev/null", "we")) {
        if (nowhere_ != nullptr) std::swap(stdout, nowhere_);
    }
    ~NoPrinting() {
        if (nowhere_ == nullptr) return;
        std::swap(stdout, nowhere_);
        std::fclose(nowhere_);
    }
    NoPrinting(NoPrinting const&) = delete;
    NoPrinting& operator=(NoPrinting const&) = delete;

private:
    FILE* nowhere_;
};

void check(std::int32_t status, char const* what) {
    if (status < 0) throw Failure(std::string(what) + ": " + std::strerror(-status));
}

class Agent : public SoundSource {
public:
    explicit Agent(std::vector<std::string>& words) {
        std::vector<char*> arguments;
        arguments.reserve(words.size() + 1);
        for (auto& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        check(audioCB_init(static_cast<int>(words.size()), arguments.data()),
              "the audio agent does not start");
        distributor_->setSelfReference(distributor_);
        check(distributor_->init(), "the sound interface takes no listener");
    }

    void add(std::shared_ptr<SoundIntake> intake) override { distributor_->add(std::move(intake)); }

    void remove(std::shared_ptr<SoundIntake> const& intake) override {
        std::lock_guard const lock(switching_);
        if (distributor_->remove(intake) == 0) request(false);
    }

    bool enable() override {
        std::lock_guard const lock(switching_);
        // Its result does not tell whether there is a service.
        std::call_once(callbackIsSet_, [this] {
            NoPrinting const silence;
            set_audioCallback(1, &takeBlock, distributor_.get());
        });
        return request(true);
    }

    void disable() override { request(false); }

private:
    bool request(bool enabled) {
        frame::MsgIds msgIds = frame::MsgIds::none;
        return distributor_->getSrvIf()->cmdEnabelSoundAudioDataCB(msgIds, frame::TransportInfo{},
                                                                   enabled) >= 0;
    }

    boost::shared_ptr<Distributor> distributor_ = boost::make_shared<Distributor>();
    std::once_flag callbackIsSet_;
    std::mutex switching_;  ///< who has come is not switched off by who goes
};

}  // namespace

SoundSource& SoundSource::start(std::vector<std::string> words) {
    // Never destroyed: the delivery thread may use it up to the last moment of the process.
    static SoundSource& source = *new Agent(words);
    return source;
}

}  // namespace tools
