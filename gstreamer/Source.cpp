#include "Source.h"

#include <gst/audio/audio.h>

#include <cstring>
#include <string>
#include <utility>

#include "Feed.h"
#include "service_address.h"

namespace sound::pipeline {

namespace {

using namespace std::chrono_literals;

/// After so long a silence the service is asked whether it is still there; and again, when not.
constexpr auto kSilence = 1s;
constexpr auto kAbsence = 10s;  // it says by itself when it is back, with the first block
/// What the largest block takes at 48 kHz in stereo, and how late it may be.
constexpr GstClockTime kUsualLatency = 100 * GST_MSECOND;
constexpr GstClockTime kLate = 15 * GST_MSECOND;

}  // namespace

bool Source::connect() {
    auto const status = Feed::instance().start();
    if (status >= 0) return true;
    GST_ELEMENT_ERROR(&element_, RESOURCE, OPEN_READ,
                      ("There is no way to the sound service at %s: %s",
                       tools::serviceAddress().c_str(), strerrordesc_np(-status)),
                      ("AUDVIK_SERVICE says where it is, as HOST:PORT"));
    return false;
}

void Source::reset() {
    format_.reset();
    latency_ = kUsualLatency;
    present_ = true;
    paceDoubted_ = false;
    askAt_ = {};
}

void Source::play(Settings const& settings) {
    room_ = settings.bufferTime;
    queue_.open(settings.bufferTime);
    auto const intake =
        std::make_shared<Intake>(*GST_ELEMENT_CAST(&element_), settings.format, queue_);
    {
        std::scoped_lock const lock(mutex_);
        intake_ = intake;
    }
    Feed::instance().add(intake);
}

void Source::pause() {
    if (auto const intake = this->intake()) Feed::instance().remove(intake);
    std::scoped_lock const lock(mutex_);
    intake_.reset();
}

std::shared_ptr<Intake> Source::intake() {
    std::scoped_lock const lock(mutex_);
    return intake_;
}

GstFlowReturn Source::create(GstBuffer** buffer) {
    auto block = queue_.next(askAt_);
    while (!block) {
        if (queue_.isUnlocked()) return GST_FLOW_FLUSHING;
        if (BlockQueue::Clock::now() >= askAt_) checkService();
        block = queue_.next(askAt_);
    }
    tellOfService(true);
    askAt_ = BlockQueue::Clock::now() + kSilence;
    tellOfPace();
    if (block->overruns > 0) tellOfOverruns(block->overruns);
    if (auto const flow = useFormat(block->format); flow != GST_FLOW_OK) return flow;
    useDuration(block->duration);
    *buffer = block->buffer.release();
    return GST_FLOW_OK;
}

void Source::checkService() {
    bool const present = Feed::instance().ask();
    tellOfService(present);
    askAt_ = BlockQueue::Clock::now() + (present ? kSilence : kAbsence);
}

void Source::tellOfService(bool present) {
    if (std::exchange(present_, present) == present) return;
    auto const address = tools::serviceAddress();
    post(gst_structure_new(present ? "audvik-service-back" : "audvik-service-lost", "address",
                           G_TYPE_STRING, address.c_str(), nullptr));
    if (present) return;
    GST_ELEMENT_WARNING(
        &element_, RESOURCE, NOT_FOUND,
        ("There is no sound service at %s; the sound goes on when there is one", address.c_str()),
        ("start one, for example sound-service, or say with AUDVIK_SERVICE where "
         "it is"));
}

void Source::tellOfOverruns(std::uint64_t count) {
    post(gst_structure_new("audvik-overrun", "blocks", G_TYPE_UINT64, count, "overruns",
                           G_TYPE_UINT64, overruns(), nullptr));
}

void Source::tellOfPace() {
    auto const intake = this->intake();
    auto const contradiction = intake && !paceDoubted_ ? intake->paceContradiction() : "";
    if (contradiction.empty()) return;
    paceDoubted_ = true;
    GST_ELEMENT_WARNING(&element_, STREAM, FORMAT,
                        ("The sound is taken for %s, but %s", intake->format().text().c_str(),
                         contradiction.c_str()),
                        ("say with the properties rate and channels what it is"));
}

GstFlowReturn Source::useFormat(tools::StreamFormat const& format) {
    if (format == format_) return GST_FLOW_OK;
    GstAudioInfo info;
    gst_audio_info_set_format(&info, GST_AUDIO_FORMAT_S16LE, format.rate, format.channels, nullptr);
    GstCaps* const caps = gst_audio_info_to_caps(&info);
    bool const taken = gst_base_src_set_caps(&element_, caps) != FALSE;
    gst_caps_unref(caps);
    if (taken) {
        format_ = format;
        return GST_FLOW_OK;
    }
    if (GST_PAD_IS_FLUSHING(GST_BASE_SRC_PAD(&element_))) return GST_FLOW_FLUSHING;
    GST_ELEMENT_ERROR(&element_, STREAM, WRONG_TYPE,
                      ("What follows takes no sound of %s", format.text().c_str()),
                      ("put audioconvert ! audioresample between"));
    return GST_FLOW_NOT_NEGOTIATED;
}

void Source::useDuration(GstClockTime duration) {
    if (duration + kLate <= latency_) return;
    latency_ = duration + kLate;
    auto* const self = GST_OBJECT_CAST(&element_);
    gst_element_post_message(GST_ELEMENT_CAST(&element_), gst_message_new_latency(self));
}

void Source::post(GstStructure* structure) {
    auto* const self = GST_OBJECT_CAST(&element_);
    gst_element_post_message(GST_ELEMENT_CAST(&element_), gst_message_new_element(self, structure));
}

}  // namespace sound::pipeline
