#include "board/boardd/source.h"

#include "board/boardd/elements.h"

#include <filesystem>
#include <stdexcept>
#include <utility>

namespace board {

namespace {

/* What to do with a pad of a source. */
enum class Content { raw, to_decode, other };

/* How the kinds of content are called. */
struct MediaNames {
    std::string raw;
    std::string rtp;
    std::string other; // the kind that is left alone, with its slash
};

MediaNames names_of(Media media) {
    return media == Media::video ? MediaNames{"video/x-raw", "video", "audio/"}
                                 : MediaNames{"audio/x-raw", "audio", "video/"};
}

Content content_of(const GstStructure *structure, const MediaNames &names) {
    const std::string name = gst_structure_get_name(structure);
    if (name == names.raw) {
        return Content::raw;
    }
    if (name == "application/x-rtp") {
        const gchar *kind = gst_structure_get_string(structure, "media");
        return kind == nullptr || kind == names.rtp ? Content::to_decode : Content::other;
    }
    return name.starts_with(names.other) || name.starts_with("text/") ? Content::other : Content::to_decode;
}

/* A pad may offer several kinds: it is raw when all are, and of no use when none is. */
Content content_of(GstPad *pad, const MediaNames &names) {
    GstCaps *caps = gst_pad_query_caps(pad, nullptr);
    const guint kinds = gst_caps_is_any(caps) ? 0 : gst_caps_get_size(caps);
    guint raw = 0;
    guint other = 0;
    for (guint i = 0; i < kinds; ++i) {
        const Content content = content_of(gst_caps_get_structure(caps, i), names);
        raw += content == Content::raw ? 1 : 0;
        other += content == Content::other ? 1 : 0;
    }
    gst_caps_unref(caps);
    if (kinds == 0 || (raw < kinds && other < kinds)) {
        return Content::to_decode;
    }
    return raw == kinds ? Content::raw : Content::other;
}

bool is_file(const std::string &text) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(text, ignored);
}

std::string decode_uri(const std::string &uri) {
    return "uridecodebin uri=\"" + uri + "\"";
}

std::string file_uri(const std::string &path) {
    gchar *uri = gst_filename_to_uri(std::filesystem::absolute(path).c_str(), nullptr);
    std::string result = uri != nullptr ? uri : "";
    g_free(uri);
    return result;
}

/* A chain may end with what is wanted of its last pad ("v4l2src ! image/jpeg,width=640"), which the parser
 * only takes between two elements. */
std::string with_an_end(const std::string &chain) {
    const size_t link = chain.rfind('!');
    const size_t start = link == std::string::npos ? link : chain.find_first_not_of(" \t\n", link + 1);
    if (start == std::string::npos) {
        return chain;
    }
    const std::string word = chain.substr(start, chain.find_first_of(" ,;(", start) - start);
    return word.find('/') == std::string::npos ? chain : chain + " ! identity";
}

std::string parse_error_text(const GError *error, GstParseContext *context) {
    std::string text = std::string("cannot use the source: ") + error->message;
    gchar **missing = gst_parse_context_get_missing_elements(context);
    for (gchar **name = missing; name != nullptr && *name != nullptr; ++name) {
        text += package_advice(*name);
    }
    g_strfreev(missing);
    return text;
}

GstElement *parse_bin(const std::string &description) {
    GstParseContext *context = gst_parse_context_new();
    GError *error = nullptr;
    GstElement *bin = gst_parse_bin_from_description_full(with_an_end(description).c_str(), FALSE, context,
                                                          GST_PARSE_FLAG_FATAL_ERRORS, &error);
    if (bin == nullptr) {
        const std::string text = parse_error_text(error, context);
        g_error_free(error);
        gst_parse_context_free(context);
        throw std::runtime_error(text);
    }
    gst_parse_context_free(context);
    return bin;
}

template <typename Object, typename Function>
void for_each(GstIterator *iterator, Function function) {
    GValue item = G_VALUE_INIT;
    while (gst_iterator_next(iterator, &item) == GST_ITERATOR_OK) {
        function(static_cast<Object *>(g_value_get_object(&item)));
        g_value_reset(&item);
    }
    g_value_unset(&item);
    gst_iterator_free(iterator);
}

} // namespace

Source::Source(std::string text) : text_(std::move(text)), kind_(kind_of(text_)) {}

Source::Kind Source::kind_of(const std::string &text) {
    if (text.empty()) {
        return Kind::scene;
    }
    if (is_file(text) || text[0] == '/' || text[0] == '.') {
        return Kind::file;
    }
    const bool is_uri = gst_uri_is_valid(text.c_str()) && text.find(' ') == std::string::npos;
    return is_uri ? Kind::uri : Kind::elements;
}

std::string Source::description(int32_t fps) const {
    switch (kind_) {
    case Kind::scene:
        return "videotestsrc is-live=true pattern=black ! "
               "video/x-raw,format=I420,framerate=" +
               std::to_string(fps) + "/1";
    case Kind::file:
        return decode_uri(file_uri(text_));
    case Kind::uri:
        return decode_uri(text_);
    default:
        return text_;
    }
}

SourceLinker::SourceLinker(const std::string &description, GstElement *pipeline, GstElement *head,
                           Media media)
    : pipeline_(pipeline), head_(head), media_(media) {
    GstElement *bin = parse_bin(description);
    gst_bin_add(GST_BIN(pipeline_), bin);
    for_each<GstElement>(gst_bin_iterate_elements(GST_BIN(bin)),
                         [this](GstElement *element) { watch(element); });
}

void SourceLinker::on_pad(GstElement * /*element*/, GstPad *pad, gpointer self) {
    static_cast<SourceLinker *>(self)->consider(pad);
}

void SourceLinker::watch(GstElement *element) {
    g_signal_connect(element, "pad-added", G_CALLBACK(on_pad), this);
    for_each<GstPad>(gst_element_iterate_src_pads(element), [this](GstPad *pad) { consider(pad); });
}

void SourceLinker::consider(GstPad *pad) {
    if (GST_PAD_IS_SINK(pad) || gst_pad_is_linked(pad)) {
        return;
    }
    const Content content = content_of(pad, names_of(media_));
    if (content == Content::raw) {
        link_to(pad, head_);
    } else if (content == Content::to_decode && !decoding_.exchange(true)) {
        link_to(pad, decoder());
    }
}

void SourceLinker::link_to(GstPad *pad, GstElement *element) {
    GstPad *sink = gst_element_get_static_pad(element, "sink");
    // The first that comes is taken; a second one stays unlinked.
    if (!gst_pad_is_linked(sink)) {
        gst_pad_link_maybe_ghosting(pad, sink);
    }
    gst_object_unref(sink);
}

GstElement *SourceLinker::decoder() {
    GstElement *decoder = gst_element_factory_make("decodebin", nullptr);
    gst_bin_add(GST_BIN(pipeline_), decoder);
    g_signal_connect(decoder, "pad-added", G_CALLBACK(on_pad), this);
    gst_element_sync_state_with_parent(decoder);
    return decoder;
}

} // namespace board
