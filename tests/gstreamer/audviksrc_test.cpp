// The plugin as a pipeline has it, with real services. CTest gives each test a process of its own:
// what a process has asked of one test's service it asks of the next one's, too.
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "LocalSocket.h"
#include "Program.h"
#include "wav.h"

namespace {

using namespace std::chrono_literals;

constexpr GstClockTime kPatience = 30 * GST_SECOND;

struct Seen {
    GstClockTime begin;
    GstClockTime duration;
    bool discont;
    GstClockTime now;  ///< when it left the source

    GstClockTime end() const { return begin + duration; }
};

/// A pipeline with a source of the name "source", and what comes from that.
class Pipeline {
public:
    explicit Pipeline(std::string const& description) {
        pipeline_ = gst_parse_launch(description.c_str(), nullptr);
        source_ = gst_bin_get_by_name(GST_BIN(pipeline_), "source");
        bus_ = gst_element_get_bus(pipeline_);
        auto* const pad = gst_element_get_static_pad(source_, "src");
        gst_pad_add_probe(
            pad, GST_PAD_PROBE_TYPE_BUFFER,
            [](GstPad*, GstPadProbeInfo* info, gpointer self) {
                static_cast<Pipeline*>(self)->see(GST_PAD_PROBE_INFO_BUFFER(info));
                return GST_PAD_PROBE_OK;
            },
            this, nullptr);
        gst_object_unref(pad);
    }
    ~Pipeline() {
        set(GST_STATE_NULL);
        for (auto* const object : {GST_OBJECT(bus_), GST_OBJECT(source_), GST_OBJECT(pipeline_)}) {
            gst_object_unref(object);
        }
    }
    Pipeline(Pipeline const&) = delete;
    Pipeline& operator=(Pipeline const&) = delete;

    GstElement* source() const { return source_; }
    GstElement* get() const { return pipeline_; }
    void set(GstState state) const { gst_element_set_state(pipeline_, state); }

    /// Called in the pipeline's thread with the number of each buffer, from 0.
    void onBuffer(std::function<void(std::size_t)> action) { onBuffer_ = std::move(action); }

    std::vector<Seen> seen() const {
        std::scoped_lock const lock(mutex_);
        return seen_;
    }

    std::vector<Seen> waitFor(std::size_t count) const {
        EXPECT_TRUE(becomesTrue([&] { return seen().size() >= count; })) << seen().size();
        return seen();
    }

    /// The text of the next message of a type, or the name of an element's; empty when none comes.
    std::string next(GstMessageType types, GstClockTime patience = kPatience) const {
        auto* const message = gst_bus_timed_pop_filtered(bus_, patience, types);
        if (message == nullptr) return "";
        std::string text = GST_MESSAGE_TYPE_NAME(message);
        if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ELEMENT) {
            auto* const written = gst_structure_to_string(gst_message_get_structure(message));
            text = written;
            g_free(written);
        } else if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_WARNING) {
            GError* error = nullptr;
            gst_message_parse_warning(message, &error, nullptr);
            text = error->message;
            g_error_free(error);
        }
        gst_message_unref(message);
        return text;
    }

private:
    void see(GstBuffer* buffer) {
        std::size_t number = 0;
        {
            std::scoped_lock const lock(mutex_);
            number = seen_.size();
            seen_.push_back({GST_BUFFER_PTS(buffer), GST_BUFFER_DURATION(buffer),
                             GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DISCONT),
                             gst_element_get_current_running_time(source_)});
        }
        if (onBuffer_) onBuffer_(number);
    }

    GstElement* pipeline_;
    GstElement* source_;
    GstBus* bus_;
    std::function<void(std::size_t)> onBuffer_;
    mutable std::mutex mutex_;
    std::vector<Seen> seen_;
};

class AudvikSrc : public testing::Test {
protected:
    AudvikSrc() {
        setenv("XDG_RUNTIME_DIR", folder_.file("").c_str(), 1);
        setenv("AUDVIK_SERVICE", LocalSocket().address().c_str(), 1);
        // Nothing but the plugins that are tried here, in this process.
        setenv("GST_PLUGIN_SYSTEM_PATH_1_0", AUDVIK_GST_PLUGINS, 1);
        setenv("GST_PLUGIN_PATH_1_0", AUDVIK_GST_PLUGINS, 1);
        setenv("GST_REGISTRY", folder_.file("registry").c_str(), 1);
        setenv("GST_REGISTRY_FORK", "no", 1);
        setenv("GST_TRACERS", "leaks", 1);
        gst_init(nullptr, nullptr);
    }

    void serve(std::vector<std::string> const& options) {
        service_.reset();
        service_ = startSoundService(options);
    }

    TemporaryFolder folder_;
    std::unique_ptr<Program> service_;
};

TEST_F(AudvikSrc, MayPlayWhenTheProcessEnds) {
    serve({"--tone", "440"});
    EXPECT_EXIT(
        {
            auto* const pipeline = new Pipeline("audviksrc name=source ! fakesink");
            pipeline->set(GST_STATE_PLAYING);
            std::exit(pipeline->waitFor(5).size() < 5);
        },
        testing::ExitedWithCode(0), "");
}

class Samples : public AudvikSrc, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(Samples, AllArriveInTheFormatThatIsPlayed) {
    constexpr std::size_t kBlock = 1001;  // which ends anywhere in a frame
    std::uint32_t const channels = GetParam();
    std::string samples;
    for (std::uint32_t i = 0; i < 20000 * channels; ++i) samples += littleEndian(i * 31, 2);
    writeFile(folder_.file("played.wav"), wav(44100, channels, samples));
    serve({folder_.file("played.wav"), "--block", std::to_string(kBlock)});
    auto const blocks = (samples.size() + kBlock - 1) / kBlock;
    Pipeline pipeline("audviksrc name=source num-buffers=" + std::to_string(blocks) +
                      " ! wavenc ! filesink location=" + folder_.file("heard.wav"));
    pipeline.set(GST_STATE_PLAYING);
    EXPECT_EQ(pipeline.next(GST_MESSAGE_EOS), "eos");
    pipeline.set(GST_STATE_NULL);
    auto const heard = readFile(folder_.file("heard.wav"));
    ASSERT_GT(heard.size(), samples.size());
    EXPECT_TRUE(heard.substr(heard.size() - samples.size()) == samples);
    EXPECT_EQ(heard.substr(22, 2), littleEndian(channels, 2));
    EXPECT_EQ(heard.substr(24, 4), littleEndian(44100, 4));
}
INSTANTIATE_TEST_SUITE_P(, Samples, testing::Values(1, 2, 3));

TEST_F(AudvikSrc, TellsTimesOfThePipelinesClockAndItsLatency) {
    serve({"--tone", "440", "--rate", "8000", "--channels", "1", "--block", "4000"});
    Pipeline pipeline("audviksrc name=source ! fakesink sync=true");
    pipeline.set(GST_STATE_PLAYING);
    auto const seen = pipeline.waitFor(8);
    for (std::size_t i = 0; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i].discont, i == 0) << i;
        EXPECT_TRUE(i == 0 || seen[i].begin == seen[i - 1].end()) << i;
        EXPECT_NEAR(static_cast<double>(seen[i].end()), static_cast<double>(seen[i].now), 3e8);
    }
    auto* const query = gst_query_new_latency();
    ASSERT_TRUE(gst_element_query(pipeline.source(), query));
    gboolean live = FALSE;
    GstClockTime least = 0;
    GstClockTime most = 0;
    gst_query_parse_latency(query, &live, &least, &most);
    gst_query_unref(query);
    EXPECT_TRUE(live);
    EXPECT_EQ(pipeline.next(GST_MESSAGE_LATENCY), "latency");
    EXPECT_GE(least, 250 * GST_MSECOND);
    EXPECT_LE(least, 300 * GST_MSECOND);
    EXPECT_EQ(most - least, 10 * GST_SECOND);

    // Time runs on over a pause, and nothing is captured in it.
    auto const before = pipeline.seen().back().end();
    pipeline.set(GST_STATE_PAUSED);
    std::this_thread::sleep_for(500ms);
    auto const count = pipeline.seen().size();
    pipeline.set(GST_STATE_PLAYING);
    auto const after = pipeline.waitFor(count + 1)[count];
    EXPECT_TRUE(after.discont);
    EXPECT_GE(after.begin + 100 * GST_MSECOND, before);
    EXPECT_LT(after.begin, before + 700 * GST_MSECOND);
}

TEST_F(AudvikSrc, GoesOnWithWhateverServiceComesBack) {
    Pipeline pipeline("audviksrc name=source ! fakesink");
    pipeline.set(GST_STATE_PLAYING);
    EXPECT_TRUE(has(pipeline.next(GST_MESSAGE_ELEMENT), "audvik-service-lost"));
    EXPECT_TRUE(has(pipeline.next(GST_MESSAGE_WARNING), "There is no sound service at 127."));
    serve({"--tone", "440"});
    EXPECT_TRUE(has(pipeline.next(GST_MESSAGE_ELEMENT), "audvik-service-back"));
    pipeline.waitFor(20);
    service_.reset();
    EXPECT_TRUE(has(pipeline.next(GST_MESSAGE_ELEMENT), "audvik-service-lost"));
    auto const before = pipeline.seen();
    serve({"--tone", "440", "--rate", "22050", "--channels", "1"});
    EXPECT_TRUE(has(pipeline.next(GST_MESSAGE_ELEMENT), "audvik-service-back"));
    auto const after = pipeline.waitFor(before.size() + 3);
    auto const& first = after[before.size()];
    EXPECT_TRUE(first.discont);
    EXPECT_GT(first.begin, before.back().end() + GST_SECOND / 2);
    EXPECT_NEAR(static_cast<double>(first.end()), static_cast<double>(first.now), 3e8);
    EXPECT_FALSE(after[before.size() + 1].discont);
    auto* const pad = gst_element_get_static_pad(pipeline.source(), "src");
    auto* const caps = gst_pad_get_current_caps(pad);
    std::unique_ptr<char, decltype(&g_free)> const format(gst_caps_to_string(caps), &g_free);
    EXPECT_TRUE(has(format.get(), "rate=(int)22050"));
    gst_caps_unref(caps);
    gst_object_unref(pad);
}

TEST_F(AudvikSrc, CountsWhatThePipelineIsTooSlowFor) {
    serve({"--tone", "440"});
    Pipeline pipeline("audviksrc name=source buffer-time=100000 ! fakesink");
    pipeline.onBuffer([](std::size_t number) {
        if (number == 10) std::this_thread::sleep_for(1s);
    });
    pipeline.set(GST_STATE_PLAYING);
    auto const message = pipeline.next(GST_MESSAGE_ELEMENT);
    std::uint64_t overruns = 0;
    g_object_get(pipeline.source(), "overruns", &overruns, nullptr);
    EXPECT_GT(overruns, 30U);
    EXPECT_LT(overruns, 60U);
    EXPECT_EQ(message, "audvik-overrun, blocks=(guint64)" + std::to_string(overruns) +
                           ", overruns=(guint64)" + std::to_string(overruns) + ";");
    // What had room was kept, and what follows is as much later as sound is missing.
    auto const seen = pipeline.waitFor(30);
    auto const gap = std::find_if(seen.begin() + 1, seen.end(), std::mem_fn(&Seen::discont));
    ASSERT_NE(gap, seen.end());
    EXPECT_EQ(std::count_if(seen.begin(), seen.end(), std::mem_fn(&Seen::discont)), 2);
    EXPECT_GE(gap - seen.begin(), 14);
    auto const missing = static_cast<double>(gap->begin - std::prev(gap)->end());
    EXPECT_NEAR(missing, static_cast<double>(overruns) * 1024 / 48000 * 1e9, 3e7);
}

TEST_F(AudvikSrc, ServesAllSourcesOfAProcess) {
    serve({"--tone", "440"});
    Pipeline stays("audviksrc name=source ! fakesink");
    stays.set(GST_STATE_PLAYING);
    {
        Pipeline goes("audviksrc name=source ! fakesink");
        goes.set(GST_STATE_PLAYING);
        goes.waitFor(20);
    }
    auto const seen = stays.waitFor(stays.seen().size() + 50);
    for (std::size_t i = 1; i < seen.size(); ++i) ASSERT_EQ(seen[i].begin, seen[i - 1].end()) << i;
}

TEST_F(AudvikSrc, EndsAtOnceWhenItIsToldTo) {
    for (bool const isServed : {false, true}) {
        if (isServed) serve({"--tone", "440"});
        Pipeline pipeline("audviksrc name=source ! fakesink");
        pipeline.set(GST_STATE_PLAYING);
        if (isServed) {
            pipeline.waitFor(3);
        } else {
            EXPECT_NE(pipeline.next(GST_MESSAGE_WARNING), "");
            std::this_thread::sleep_for(100ms);  // until it waits for a service again
        }
        auto const begin = std::chrono::steady_clock::now();
        gst_element_send_event(pipeline.get(), gst_event_new_eos());
        EXPECT_EQ(pipeline.next(GST_MESSAGE_EOS), "eos");
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
    }
}

TEST_F(AudvikSrc, DoubtsAFormatOnceThatThePaceContradicts) {
    serve({"--tone", "440", "--channels", "1"});
    for (auto const& entry : std::filesystem::recursive_directory_iterator(folder_.file(""))) {
        if (entry.path().filename() == "format") std::filesystem::remove(entry.path());
    }
    Pipeline pipeline("audviksrc name=source rate=44100 ! fakesink");
    pipeline.set(GST_STATE_PLAYING);
    EXPECT_EQ(pipeline.next(GST_MESSAGE_WARNING),
              "The sound is taken for 44100 Hz, 2 channels, but the pace is that of 48000 Hz, 1 "
              "channel, or 24000 Hz, 2 channels");
    EXPECT_EQ(pipeline.next(GST_MESSAGE_WARNING, GST_SECOND), "");
}

std::size_t liveObjects() {
    GList* const tracers = gst_tracing_get_active_tracers();
    GstStructure* info = nullptr;
    g_signal_emit_by_name(tracers->data, "get-live-objects", &info);
    auto const* const list = gst_structure_get_value(info, "live-objects-list");
    auto const count = gst_value_list_get_size(list);
    for (guint i = 0; i < count; ++i) {
        auto* const text = g_strdup_value_contents(gst_value_list_get_value(list, i));
        ADD_FAILURE() << text;
        g_free(text);
    }
    gst_structure_free(info);
    g_list_free_full(tracers, gst_object_unref);
    return count;
}

TEST_F(AudvikSrc, LeavesNothingBehindAfterAThousandChangesOfState) {
    serve({"--tone", "440"});
    char const* const wanted = std::getenv("AUDVIK_STATE_CHANGES");
    int const changes = wanted != nullptr ? std::atoi(wanted) : 1000;
    std::minstd_rand random(1);
    {
        Pipeline pipeline("audviksrc name=source ! fakesink");
        for (int i = 0; i < changes; ++i) {
            std::uniform_int_distribution<int> state(GST_STATE_NULL, GST_STATE_PLAYING);
            pipeline.set(static_cast<GstState>(state(random)));
            if (i % 10 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(random() % 20));
        }
        pipeline.set(GST_STATE_PLAYING);
        pipeline.waitFor(pipeline.seen().size() + 5);
    }
    gst_task_cleanup_all();  // a thread may still hold the task that it has ended
    EXPECT_EQ(liveObjects(), 0U);
}

}  // namespace
