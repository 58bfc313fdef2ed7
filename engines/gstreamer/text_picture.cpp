#include "engines/gstreamer/text_picture.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace quorel::gstreamer {
namespace {

// Shares of the picture's height.
constexpr double letterSize = 0.052;
constexpr double margin = 0.05;
constexpr double outline = 0.15;  // of the letter size, both sides together

constexpr std::size_t longestText = 2000;  // bytes; a picture has no room for more

template <class T, void (*release)(T*)>
struct Release {
    void operator()(T* object) const { release(object); }
};
void unref(PangoLayout* layout) {
    g_object_unref(layout);
}
using Layout = std::unique_ptr<PangoLayout, Release<PangoLayout, unref>>;
using Surface = std::unique_ptr<cairo_surface_t, Release<cairo_surface_t, cairo_surface_destroy>>;
using Context = std::unique_ptr<cairo_t, Release<cairo_t, cairo_destroy>>;

void setText(PangoLayout* layout, const SubtitleCue& cue) {
    std::string text;
    PangoAttrList* const attributes = pango_attr_list_new();
    for (StyledRun& run : styledText(cue.block().payload)) {
        if (text.size() > longestText) break;
        const auto from = static_cast<guint>(text.size());
        text += run.text;
        const auto add = [&](PangoAttribute* attribute) {
            attribute->start_index = from;
            attribute->end_index = static_cast<guint>(text.size());
            pango_attr_list_insert(attributes, attribute);
        };
        if (run.italic) add(pango_attr_style_new(PANGO_STYLE_ITALIC));
        if (run.bold) add(pango_attr_weight_new(PANGO_WEIGHT_BOLD));
        if (run.underlined) add(pango_attr_underline_new(PANGO_UNDERLINE_SINGLE));
    }
    if (text.size() > longestText) {
        text.resize(longestText);
        // Not within a character.
        const char* end = nullptr;
        g_utf8_validate(text.data(), static_cast<gssize>(text.size()), &end);
        text.resize(static_cast<std::size_t>(end - text.data()));
    }
    while (!text.empty() && text.back() == '\n') text.pop_back();
    pango_layout_set_text(layout, text.data(), static_cast<int>(text.size()));
    pango_layout_set_attributes(layout, attributes);
    pango_attr_list_unref(attributes);
}

bool readsFromRight(PangoLayout* layout) {
    return pango_layout_get_line_readonly(layout, 0)->resolved_dir == PANGO_DIRECTION_RTL;
}

// With auto-dir, Pango's left is where a line begins, whichever way it is read.
PangoAlignment alignmentOf(CueSettings::Align align, bool isRightToLeft) {
    switch (align) {
        case CueSettings::Align::start:
            return PANGO_ALIGN_LEFT;
        case CueSettings::Align::end:
            return PANGO_ALIGN_RIGHT;
        case CueSettings::Align::left:
            return isRightToLeft ? PANGO_ALIGN_RIGHT : PANGO_ALIGN_LEFT;
        case CueSettings::Align::right:
            return isRightToLeft ? PANGO_ALIGN_LEFT : PANGO_ALIGN_RIGHT;
        case CueSettings::Align::center:
            break;
    }
    return PANGO_ALIGN_CENTER;
}

// The narrowest width that needs no more lines than this one, so that a long line becomes two of one length.
void balance(PangoLayout* layout, int width) {
    pango_layout_set_width(layout, width * PANGO_SCALE);
    const int lines = pango_layout_get_line_count(layout);
    int least = width / 3;
    int most = width;
    if (lines > 1) {
        while (most - least > std::max(8, width / 64)) {
            const int middle = (least + most) / 2;
            pango_layout_set_width(layout, middle * PANGO_SCALE);
            (pango_layout_get_line_count(layout) > lines ? least : most) = middle;
        }
    }
    pango_layout_set_width(layout, most * PANGO_SCALE);
}

struct Box {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    bool meets(const Box& other) const {
        return x < other.x + other.width && other.x < x + width && y < other.y + other.height &&
               other.y < y + height;
    }
};

// The column of the cue (W3C WebVTT 7.2): from where to where its lines may go.
std::pair<double, double> columnOf(const CueSettings& settings, bool isRightToLeft, double width) {
    using Align = CueSettings::Align;
    const bool begins =
        settings.align == Align::left || settings.align == (isRightToLeft ? Align::end : Align::start);
    const bool ends =
        settings.align == Align::right || settings.align == (isRightToLeft ? Align::start : Align::end);
    const double position = settings.position.value_or(begins ? 0 : ends ? 100 : 50);
    const double room = begins ? 100 - position : ends ? position : 2 * std::min(position, 100 - position);
    const double size = std::min(settings.size, room);
    const double left = begins ? position : ends ? position - size : position - size / 2;
    const double from = std::max(left, 100 * margin) * width / 100;
    const double to = std::min(left + size, 100 - 100 * margin) * width / 100;
    // A column too narrow for words is a mistake of the file.
    return to - from >= width / 10 ? std::pair(from, to) : std::pair(width * margin, width * (1 - margin));
}

}  // namespace

// Fontconfig and Pango want a font map for each thread that uses them at the same time; here one thread does.
class SubtitlePainter::Fonts {
public:
    Fonts() : map_(pango_cairo_font_map_new()), context_(pango_font_map_create_context(map_)) {
        cairo_font_options_t* const options = cairo_font_options_create();
        cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
        cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
        cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
        pango_cairo_context_set_font_options(context_, options);
        cairo_font_options_destroy(options);
    }
    ~Fonts() {
        g_object_unref(context_);
        g_object_unref(map_);
    }
    Fonts(const Fonts&) = delete;
    Fonts& operator=(const Fonts&) = delete;

    Layout layout(double size) const {
        Layout layout(pango_layout_new(context_));
        PangoFontDescription* const font = pango_font_description_from_string("Sans");
        pango_font_description_set_absolute_size(font, size * PANGO_SCALE);
        pango_layout_set_font_description(layout.get(), font);
        pango_font_description_free(font);
        pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
        return layout;
    }

private:
    PangoFontMap* const map_;
    PangoContext* const context_;
};

// Memory for frames that comes back when nobody holds the frame any more: fresh memory costs a page fault for every
// 1000 pixels.
class SubtitlePainter::Buffers : public std::enable_shared_from_this<Buffers> {
public:
    std::shared_ptr<std::byte> take(std::size_t size) {
        std::unique_ptr<std::byte[]> memory;
        {
            const std::lock_guard lock(mutex_);
            if (size != size_) free_.clear();
            size_ = size;
            if (!free_.empty()) {
                memory = std::move(free_.back());
                free_.pop_back();
            }
        }
        if (!memory) memory.reset(new std::byte[size]);
        return {memory.release(),
                [keeper = shared_from_this(), size](std::byte* used) { keeper->giveBack(used, size); }};
    }

private:
    static constexpr std::size_t mostFree = 3;

    void giveBack(std::byte* used, std::size_t size) {
        std::unique_ptr<std::byte[]> memory(used);
        const std::lock_guard lock(mutex_);
        if (size == size_ && free_.size() < mostFree) free_.push_back(std::move(memory));
    }

    std::mutex mutex_;
    std::size_t size_ = 0;
    std::vector<std::unique_ptr<std::byte[]>> free_;
};

SubtitlePainter::SubtitlePainter() : buffers_(std::make_shared<Buffers>()) {}
SubtitlePainter::~SubtitlePainter() = default;

void SubtitlePainter::prepare() {
    const std::lock_guard lock(mutex_);
    if (fonts_) return;
    fonts_ = std::make_unique<Fonts>();
    const Layout layout = fonts_->layout(36);
    pango_layout_set_text(layout.get(), "Aa", -1);
    pango_layout_get_pixel_size(layout.get(), nullptr, nullptr);
}

void SubtitlePainter::render(int width, int height, const SubtitleCues& cues) {
    pictures_.clear();
    if (!fonts_) fonts_ = std::make_unique<Fonts>();
    const double size = std::max(8.0, height * letterSize);
    const double edge = height * margin;
    const double stroke = size * outline;
    const int border = static_cast<int>(std::ceil(stroke)) + 1;
    std::vector<Box> taken;
    for (const auto& cue : cues) {
        const CueSettings& settings = cue->block().settings;
        const Layout layout = fonts_->layout(size);
        setText(layout.get(), *cue);
        if (*pango_layout_get_text(layout.get()) == '\0') continue;
        const bool isRightToLeft = readsFromRight(layout.get());
        const PangoAlignment alignment = alignmentOf(settings.align, isRightToLeft);
        pango_layout_set_alignment(layout.get(), alignment);
        const auto [from, to] = columnOf(settings, isRightToLeft, width);
        balance(layout.get(), static_cast<int>(to - from));

        PangoRectangle ink;
        PangoRectangle logical;
        pango_layout_get_pixel_extents(layout.get(), &ink, &logical);
        const double lineHeight = static_cast<double>(logical.height) / pango_layout_get_line_count(layout.get());
        // The layout may be narrower than its column, and lies in it as its lines do in the layout.
        const double slack = (to - from) - pango_layout_get_width(layout.get()) / static_cast<double>(PANGO_SCALE);
        const bool atLeft = alignment == (isRightToLeft ? PANGO_ALIGN_RIGHT : PANGO_ALIGN_LEFT);
        const double shift = alignment == PANGO_ALIGN_CENTER ? slack / 2 : atLeft ? 0 : slack;
        Box box{from + shift + logical.x, 0, static_cast<double>(logical.width),
                static_cast<double>(logical.height)};
        const double bottom = height - edge - box.height;
        bool upwards = true;
        if (!settings.line) {
            box.y = bottom;
        } else if (settings.lineIsPercentage) {
            box.y = *settings.line / 100 * height;
            upwards = *settings.line >= 50;
        } else {
            box.y = *settings.line < 0 ? height - edge + *settings.line * lineHeight
                                       : edge + *settings.line * lineHeight;
            upwards = *settings.line < 0;
        }
        box.y = std::clamp(box.y, std::min(edge, bottom), std::max(edge, bottom));
        for (std::size_t i = 0; i <= taken.size(); ++i) {
            const auto other =
                std::find_if(taken.begin(), taken.end(), [&](const Box& one) { return one.meets(box); });
            if (other == taken.end()) break;
            box.y = upwards ? other->y - box.height : other->y + other->height;
        }
        taken.push_back(box);

        // Only what lies within the picture: a cue of a hundred lines has a hundred lines' layout.
        Picture picture;
        const double originX = from + shift;
        const int left = std::max(0, static_cast<int>(originX) + std::min(ink.x, logical.x) - border);
        const int top = std::max(0, static_cast<int>(box.y) + std::min(ink.y, logical.y) - border);
        const int right = std::min(width, static_cast<int>(originX) +
                                              std::max(ink.x + ink.width, logical.x + logical.width) + border + 1);
        const int end =
            std::min(height, static_cast<int>(box.y) + std::max(ink.y + ink.height, logical.y + logical.height) +
                                 border + 1);
        if (right <= left || end <= top) continue;
        picture = {left, top, right - left, end - top, {}};
        picture.pixels.resize(static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height));
        const Surface surface(cairo_image_surface_create_for_data(
            reinterpret_cast<unsigned char*>(picture.pixels.data()), CAIRO_FORMAT_ARGB32, picture.width,
            picture.height, picture.width * 4));
        const Context context(cairo_create(surface.get()));
        cairo_move_to(context.get(), originX - left, box.y - top);
        pango_cairo_layout_path(context.get(), layout.get());
        cairo_set_line_join(context.get(), CAIRO_LINE_JOIN_ROUND);
        cairo_set_line_width(context.get(), stroke);
        cairo_set_source_rgba(context.get(), 0, 0, 0, 0.9);
        cairo_stroke(context.get());
        cairo_set_source_rgb(context.get(), 1, 1, 1);
        cairo_move_to(context.get(), originX - left, box.y - top);
        pango_cairo_show_layout(context.get(), layout.get());
        cairo_surface_flush(surface.get());
        pictures_.push_back(std::move(picture));
    }
}

void SubtitlePainter::blend(const Picture& picture, std::byte* pixels, int stride) {
    for (int y = 0; y < picture.height; ++y) {
        const std::uint32_t* from = picture.pixels.data() + static_cast<std::ptrdiff_t>(y) * picture.width;
        std::byte* to = pixels + static_cast<std::ptrdiff_t>(picture.y + y) * stride + picture.x * 4;
        for (int x = 0; x < picture.width; ++x, ++from, to += 4) {
            const std::uint32_t rest = 255 - (*from >> 24);
            if (rest == 255) continue;
            std::uint32_t under = 0;
            std::memcpy(&under, to, 4);
            // Two channels at a time, each with 8 bits above it.
            const auto scaled = [rest](std::uint32_t two) {
                const std::uint32_t product = (two & 0x00FF00FF) * rest + 0x00800080;
                return (product + (product >> 8 & 0x00FF00FF)) >> 8 & 0x00FF00FF;
            };
            const std::uint32_t over = *from + (scaled(under) | scaled(under >> 8) << 8);
            std::memcpy(to, &over, 4);
        }
    }
}

std::shared_ptr<const ui::VideoFrame> SubtitlePainter::draw(const ui::VideoFrame& frame,
                                                            const SubtitleCues& cues) {
    const auto height = static_cast<std::size_t>(frame.height);
    const auto row = static_cast<std::size_t>(frame.width) * 4;
    const std::shared_ptr<std::byte> pixels = buffers_->take(row * height);
    const auto stride = static_cast<std::size_t>(frame.stride);
    for (std::size_t y = 0; y < height; ++y) {
        std::memcpy(pixels.get() + y * row, frame.pixels.get() + y * stride, row);
    }
    {
        const std::lock_guard lock(mutex_);
        if (frame.width != width_ || frame.height != height_ || cues != cues_) {
            render(frame.width, frame.height, cues);
            width_ = frame.width;
            height_ = frame.height;
            cues_ = cues;
        }
        for (const Picture& picture : pictures_) blend(picture, pixels.get(), static_cast<int>(row));
    }
    auto drawn = std::make_shared<ui::VideoFrame>(frame);
    drawn->stride = static_cast<int>(row);
    drawn->pixels = pixels;
    return drawn;
}

}  // namespace quorel::gstreamer
