// Builds, checks, runs and tears down the pipeline of one video on the worker thread.
#include "player/media_pipeline.h"

#include "player/gst_compat.h"
#include "player/player_log.h"

namespace {

constexpr GstClockTime DiscoveryTimeout = 2 * GST_SECOND;
constexpr guint64 QueueMaxTime = 1000;

// Rounds a dimension up to a multiple of 8; the padding it added comes back in pad.
// Two's-complement arithmetic: the largest widths wrap rather than overflow.
int32_t padToEight(int32_t size, int32_t& pad) {
    uint32_t rest = static_cast<uint32_t>(size) & 7u;
    pad = rest == 0 ? 0 : static_cast<int32_t>(8u - rest);
    return static_cast<int32_t>(static_cast<uint32_t>(size) + static_cast<uint32_t>(pad));
}

// The axis moves left or up by half the padding, wrapping like the padded sizes.
int32_t axisBefore(int32_t axis, int32_t pad) {
    return static_cast<int32_t>(static_cast<uint32_t>(axis) - static_cast<uint32_t>(pad / 2));
}

int32_t rotationDegrees(int32_t code) {
    switch (code) {
    case 1:
        return 90;
    case 2:
        return 180;
    case 3:
        return 270;
    default:
        return 0;
    }
}

GstState targetState(PlayerStatus requested) {
    switch (requested) {
    case PlayerStatus::Ready:
        return GST_STATE_READY;
    case PlayerStatus::Playing:
        return GST_STATE_PLAYING;
    default:
        return GST_STATE_PAUSED;
    }
}

// The path as a URI, escaped ('#', '%' and '?' are file name bytes) and absolute; empty when
// it cannot be made one.
std::string fileUri(const std::string& path) {
    gchar* converted = gst_filename_to_uri(path.c_str(), nullptr);
    std::string uri = converted ? converted : "";
    g_free(converted);
    return uri;
}

} // namespace

std::atomic<bool> MediaPipeline::elementsMissing{false};

int MediaPipeline::create() {
    mainLoop = g_main_loop_new(nullptr, FALSE);
    pipeline = gst_pipeline_new(nullptr);
    source = gst_element_factory_make("filesrc", nullptr);
    demuxer = gst_element_factory_make("aiurdemux", nullptr);
    queue = gst_element_factory_make("queue", nullptr);
    decoder = gst_element_factory_make("vpudec", nullptr);
    discoverer = gst_discoverer_new(DiscoveryTimeout, nullptr);
    sink = gst_element_factory_make("mfw_v4lsink", nullptr);
    if (mainLoop && pipeline && source && demuxer && queue && decoder && discoverer && sink)
        return 1;

    if (mainLoop)
        g_main_loop_unref(mainLoop);
    mainLoop = nullptr;
    if (pipeline)
        gst_object_unref(pipeline);
    pipeline = nullptr;
    releaseElements();
    if (discoverer)
        g_object_unref(discoverer);
    discoverer = nullptr;
    fprintf(playerLog(), "Pipeline elements could not be created.");
    elementsMissing = true;
    return -1;
}

// Elements not yet in the pipeline are the record's own; those in it belong to the pipeline.
void MediaPipeline::releaseElements() {
    for (GstElement** element : {&source, &demuxer, &queue, &decoder, &sink}) {
        if (*element && !GST_OBJECT_PARENT(*element)) {
            gst_object_ref_sink(*element);
            gst_object_unref(*element);
        }
        *element = nullptr;
    }
}

int MediaPipeline::link() {
    gst_bin_add_many(GST_BIN(pipeline), source, demuxer, decoder, queue, sink, nullptr);
    GstCaps* quicktime = gst_caps_new_simple("video/quicktime", nullptr, nullptr);
    gboolean linked = gst_element_link_filtered(source, demuxer, quicktime);
    gst_caps_unref(quicktime);
    if (!linked)
        return -1;
    if (!gst_element_link_many(queue, decoder, sink, nullptr))
        return -1;
    gulong handler = g_signal_connect_data(demuxer, "pad-added", G_CALLBACK(onPadAdded), queue,
                                           nullptr, static_cast<GConnectFlags>(0));
    return handler == 0 ? -1 : 1;
}

void MediaPipeline::watchBus() {
    GstBus* bus = gst_pipeline_get_bus(GST_PIPELINE(pipeline));
    busWatchId = gst_bus_add_watch(bus, onBusMessage, this);
    gst_object_unref(bus);
}

void MediaPipeline::applyDisplaySettings() {
    g_object_set(queue, "max-size-time", QueueMaxTime, nullptr);
    int32_t padWidth = 0;
    int32_t padHeight = 0;
    int32_t width = padToEight(display.width, padWidth);
    int32_t height = padToEight(display.height, padHeight);
    g_object_set(sink, "disp-width", gint(width), nullptr);
    g_object_set(sink, "disp-height", gint(height), nullptr);
    g_object_set(sink, "axis-left", gint(axisBefore(display.left, padWidth)), nullptr);
    g_object_set(sink, "axis-top", gint(axisBefore(display.top, padHeight)), nullptr);
    g_object_set(sink, "rotate", gint(rotationDegrees(display.rotation)), nullptr);
}

bool MediaPipeline::isPlayableVideo(GstDiscovererInfo* info) {
    if (gst_discoverer_info_get_result(info) != GST_DISCOVERER_OK)
        return false;
    GList* streams = gst_discoverer_info_get_video_streams(info);
    if (!streams)
        return false;
    bool playable = false;
    GstCaps* caps = gst_discoverer_stream_info_get_caps(GST_DISCOVERER_STREAM_INFO(streams->data));
    if (caps && !gst_caps_is_empty(caps)) {
        gchar* text = gst_caps_to_string(caps);
        g_print("file caps are %s \n", text);
        g_free(text);
        GstCaps* h264 = gst_caps_new_simple("video/x-h264", nullptr, nullptr);
        playable = gst_caps_can_intersect(h264, caps);
        gst_caps_unref(h264);
    }
    if (caps)
        gst_caps_unref(caps);
    gst_discoverer_stream_info_list_free(streams);
    return playable;
}

void MediaPipeline::onPadAdded(GstElement* element, GstPad* pad, gpointer queue) {
    gchar* padName = gst_pad_get_name(pad);
    gchar* elementName = gst_element_get_name(element);
    fprintf(playerLog(), "Received new pad '%s' from '%s':\n", padName, elementName);
    g_free(padName);
    g_free(elementName);

    GstCaps* caps = padCaps(pad);
    GstPad* queueSink = gst_element_get_static_pad(GST_ELEMENT(queue), "sink");
    const gchar* type = caps && gst_caps_get_size(caps) > 0
                            ? gst_structure_get_name(gst_caps_get_structure(caps, 0))
                            : nullptr;
    if (type && g_strcmp0(type, "video/x-h264") == 0) {
        if (GST_PAD_LINK_FAILED(gst_pad_link(pad, queueSink)))
            fprintf(playerLog(), " Type is '%s' but link failed.\n", type);
        else
            fprintf(playerLog(), " Link succeeded (type '%s').\n", type);
    }
    if (caps)
        gst_caps_unref(caps);
    if (queueSink)
        gst_object_unref(queueSink);
}

gboolean MediaPipeline::onBusMessage(GstBus*, GstMessage* message, gpointer data) {
    auto* media = static_cast<MediaPipeline*>(data);
    switch (GST_MESSAGE_TYPE(message)) {
    case GST_MESSAGE_ERROR: {
        GError* error = nullptr;
        gchar* debug = nullptr;
        gst_message_parse_error(message, &error, &debug);
        fprintf(playerLog(), "Error: %s\n", error ? error->message : "");
        g_clear_error(&error);
        g_free(debug);
        media->status = PlayerStatus::Ended;
        break;
    }
    case GST_MESSAGE_STATE_CHANGED: {
        if (GST_MESSAGE_SRC(message) != GST_OBJECT(media->pipeline))
            break;
        GstState oldState;
        GstState newState;
        gst_message_parse_state_changed(message, &oldState, &newState, nullptr);
        fprintf(playerLog(), "Pipeline state changed from %s to %s:\n",
                gst_element_state_get_name(oldState), gst_element_state_get_name(newState));
        // An end that overtakes the pipeline's own move to PAUSED or PLAYING (a clip that
        // ends during preroll) stays: the parent learns of it only through Ended.
        const bool endHidden = media->status == PlayerStatus::Ended && newState >= GST_STATE_PAUSED;
        if (newState != GST_STATE_VOID_PENDING && !endHidden)
            media->status = static_cast<PlayerStatus>(newState - GST_STATE_NULL);
        break;
    }
    case GST_MESSAGE_EOS:
        fprintf(playerLog(), "End of Stream \n");
        media->status = PlayerStatus::Ended;
        break;
    default:
        break;
    }
    return TRUE;
}

// Runs once inside the main loop: a stop whose quit came before the loop was running
// would otherwise be lost, since quitting a loop that is not yet running does nothing.
gboolean MediaPipeline::quitIfStopRequested(gpointer data) {
    auto* media = static_cast<MediaPipeline*>(data);
    if (media->stopRequested)
        g_main_loop_quit(media->mainLoop);
    return G_SOURCE_REMOVE;
}

int32_t MediaPipeline::run(void* argument) {
    auto* media = static_cast<MediaPipeline*>(argument);
    int32_t result = media->create();
    if (result == 1)
        result = media->play();
    media->teardown();
    return result;
}

int32_t MediaPipeline::play() {
    if (path.empty())
        return -1;
    g_object_set(source, "location", path.c_str(), nullptr);
    if (link() != 1)
        return -1;
    watchBus();
    applyDisplaySettings();
    GstState target = targetState(requestedState);

    std::string uri = fileUri(path);
    GstDiscovererInfo* info =
        uri.empty() ? nullptr : gst_discoverer_discover_uri(discoverer, uri.c_str(), nullptr);
    if (!info) {
        g_print("Failed to start discovering file '%s'\n", uri.c_str());
        return 1;
    }
    bool playable = isPlayableVideo(info);
    gst_discoverer_info_unref(info);
    if (!playable)
        return 1;

    // running before the state change, stopRequested after it: a stop lands in one of the two.
    running = true;
    (void)gst_element_set_state(pipeline, target);
    if (stopRequested) {
        (void)gst_element_set_state(pipeline, GST_STATE_NULL);
        return 1;
    }
    stopCheck = g_idle_source_new();
    g_source_set_callback(stopCheck, quitIfStopRequested, this, nullptr);
    g_source_attach(stopCheck, nullptr);
    g_main_loop_run(mainLoop);
    return 1;
}

void MediaPipeline::teardown() {
    running = false;
    if (busWatchId)
        g_source_remove(busWatchId);
    busWatchId = 0;
    if (stopCheck) {
        g_source_destroy(stopCheck);
        g_source_unref(stopCheck);
    }
    stopCheck = nullptr;
    if (discoverer)
        g_object_unref(discoverer);
    discoverer = nullptr;

    releaseElements();
    lock.lock();
    GstElement* ownPipeline = pipeline;
    GMainLoop* ownLoop = mainLoop;
    pipeline = nullptr;
    mainLoop = nullptr;
    if (ownPipeline) {
        (void)gst_element_set_state(ownPipeline, GST_STATE_NULL);
        gst_object_unref(ownPipeline);
    }
    if (ownLoop)
        g_main_loop_unref(ownLoop);
    lock.unlock();
    status = PlayerStatus::Ended;
}
