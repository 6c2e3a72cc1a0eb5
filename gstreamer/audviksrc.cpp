// The element audviksrc, as GObject has it.
//
// It is a GstPushSrc. A GstAudioSrc would count samples of a device that runs all the time, in a
// format that is known before the first one: its clock, which a pipeline would choose, stands still
// while the service is away, and a service that comes back with another format is none it could
// take. A block that is pushed on has a time of its own: that of its arrival on the pipeline's
// clock, whichever that is, smoothed by BlockTimes.

#include <gst/audio/audio.h>
#include <gst/base/gstpushsrc.h>

#include <memory>

#include "Source.h"

namespace {

using sound::pipeline::Settings;
using sound::pipeline::Source;

struct AudvikSrc {
    GstPushSrc base;
    Settings* settings;  ///< under the object's lock
    Source* source;
};

struct AudvikSrcClass {
    GstPushSrcClass base;
};

enum Property : guint { kRate = 1, kChannels, kBufferTime, kOverruns };

GstStaticPadTemplate padTemplate = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("audio/x-raw, format = (string) S16LE, layout = (string) interleaved, "
                    "rate = (int) [ 1, 768000 ], channels = (int) [ 1, 32 ]"));

G_DEFINE_TYPE(AudvikSrc, audvik_src, GST_TYPE_PUSH_SRC)

AudvikSrc& of(void* instance) {
    return *static_cast<AudvikSrc*>(instance);
}

Source& sourceOf(void* instance) {
    return *of(instance).source;
}

void setProperty(GObject* object, guint id, GValue const* value, GParamSpec* property) {
    auto& settings = *of(object).settings;
    GST_OBJECT_LOCK(object);
    switch (id) {
        case kRate:
            settings.format.rate = g_value_get_int(value);
            break;
        case kChannels:
            settings.format.channels = g_value_get_int(value);
            break;
        case kBufferTime:
            settings.bufferTime = g_value_get_uint64(value) * GST_USECOND;
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, property);
    }
    GST_OBJECT_UNLOCK(object);
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec* property) {
    auto const& settings = *of(object).settings;
    GST_OBJECT_LOCK(object);
    switch (id) {
        case kRate:
            g_value_set_int(value, settings.format.rate);
            break;
        case kChannels:
            g_value_set_int(value, settings.format.channels);
            break;
        case kBufferTime:
            g_value_set_uint64(value, settings.bufferTime / GST_USECOND);
            break;
        case kOverruns:
            g_value_set_uint64(value, sourceOf(object).overruns());
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, property);
    }
    GST_OBJECT_UNLOCK(object);
}

void finalize(GObject* object) {
    delete of(object).source;
    delete of(object).settings;
    G_OBJECT_CLASS(audvik_src_parent_class)->finalize(object);
}

void play(GstElement* element) {
    GST_OBJECT_LOCK(element);
    auto const settings = *of(element).settings;
    GST_OBJECT_UNLOCK(element);
    sourceOf(element).play(settings);
}

/// A live source captures while it plays, and not before: clock and base time are there by then.
GstStateChangeReturn changeState(GstElement* element, GstStateChange change) {
    if (change == GST_STATE_CHANGE_NULL_TO_READY && !sourceOf(element).connect()) {
        return GST_STATE_CHANGE_FAILURE;
    }
    if (change == GST_STATE_CHANGE_PAUSED_TO_PLAYING) play(element);
    auto const result = GST_ELEMENT_CLASS(audvik_src_parent_class)->change_state(element, change);
    bool const failed = result == GST_STATE_CHANGE_FAILURE;
    if (change == GST_STATE_CHANGE_PLAYING_TO_PAUSED ||
        (failed && change == GST_STATE_CHANGE_PAUSED_TO_PLAYING)) {
        sourceOf(element).pause();
    }
    return result;
}

gboolean start(GstBaseSrc* base) {
    sourceOf(base).reset();
    return TRUE;
}

/// There is nothing to choose: the format is the service's, and known with the first block.
gboolean negotiate(GstBaseSrc* /*base*/) {
    return TRUE;
}

gboolean query(GstBaseSrc* base, GstQuery* query) {
    if (GST_QUERY_TYPE(query) != GST_QUERY_LATENCY) {
        return GST_BASE_SRC_CLASS(audvik_src_parent_class)->query(base, query);
    }
    auto const latency = sourceOf(base).latency();
    gst_query_set_latency(query, TRUE, latency, latency + sourceOf(base).room());
    return TRUE;
}

gboolean unlock(GstBaseSrc* base) {
    sourceOf(base).unlock(true);
    return TRUE;
}

gboolean unlockStop(GstBaseSrc* base) {
    sourceOf(base).unlock(false);
    return TRUE;
}

GstFlowReturn create(GstPushSrc* base, GstBuffer** buffer) {
    return sourceOf(base).create(buffer);
}

void installProperties(GObjectClass* gobjectClass) {
    constexpr auto kSettable = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                                        GST_PARAM_MUTABLE_PAUSED);
    constexpr auto kReadOnly = static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS);
    Settings const defaults;
    g_object_class_install_property(
        gobjectClass, kRate,
        g_param_spec_int("rate", "Rate",
                         "Frames per second of the sound, in Hz, where the service does not say it",
                         1, tools::kHighestRate, defaults.format.rate, kSettable));
    g_object_class_install_property(
        gobjectClass, kChannels,
        g_param_spec_int("channels", "Channels",
                         "Number of channels of the sound, where the service does not say it", 1,
                         tools::kMostChannels, defaults.format.channels, kSettable));
    g_object_class_install_property(
        gobjectClass, kBufferTime,
        g_param_spec_uint64("buffer-time", "Buffer time",
                            "How much sound, in microseconds, waits here for a pipeline that is "
                            "slow, before blocks are dropped",
                            1, G_MAXINT64 / 1000, defaults.bufferTime / GST_USECOND, kSettable));
    g_object_class_install_property(
        gobjectClass, kOverruns,
        g_param_spec_uint64("overruns", "Overruns",
                            "Number of blocks that were dropped because the pipeline was too slow",
                            0, G_MAXUINT64, 0, kReadOnly));
}

void audvik_src_class_init(AudvikSrcClass* itsClass) {
    auto* const gobjectClass = G_OBJECT_CLASS(itsClass);
    gobjectClass->set_property = setProperty;
    gobjectClass->get_property = getProperty;
    gobjectClass->finalize = finalize;
    installProperties(gobjectClass);

    auto* const elementClass = GST_ELEMENT_CLASS(itsClass);
    elementClass->change_state = changeState;
    gst_element_class_add_static_pad_template(elementClass, &padTemplate);
    gst_element_class_set_static_metadata(
        elementClass, "TV sound source", "Source/Audio",
        "What the TV is playing. The sound service is expected at 127.0.0.1:12321, or where the "
        "environment variable AUDVIK_SERVICE says. All sources of a process share one connection.",
        "audvik developers <developers@audvik.example>");

    auto* const baseClass = GST_BASE_SRC_CLASS(itsClass);
    baseClass->start = start;
    baseClass->negotiate = negotiate;
    baseClass->query = query;
    baseClass->unlock = unlock;
    baseClass->unlock_stop = unlockStop;
    GST_PUSH_SRC_CLASS(itsClass)->create = create;
}

void audvik_src_init(AudvikSrc* self) {
    auto* const base = GST_BASE_SRC(self);
    gst_base_src_set_live(base, TRUE);
    gst_base_src_set_format(base, GST_FORMAT_TIME);
    self->settings = new Settings;
    self->source = new Source(*base);
}

gboolean initialize(GstPlugin* plugin) {
    return gst_element_register(plugin, "audviksrc", GST_RANK_NONE, audvik_src_get_type());
}

}  // namespace

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, audvik, "What a TV is playing", initialize,
                  AUDVIK_VERSION, GST_LICENSE_UNKNOWN, "audvik", "https://audvik.example")
