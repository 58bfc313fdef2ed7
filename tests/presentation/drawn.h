// A tree of views as a text.
#pragma once

#include <memory>
#include <sstream>
#include <string>

#include "quorel/ui/control.h"
#include "quorel/ui/display_list.h"
#include "quorel/ui/image_view.h"

namespace quorel::testing {

// What a host draws, a line for each view that shows something, from back to front; texts and symbols are white if
// it says nothing else.
inline std::string drawn(const std::shared_ptr<ui::View>& root, Duration now) {
    std::ostringstream all;
    for (const ui::DisplayItem& item : ui::displayList(root, now)) {
        const ui::View& view = *item.view;
        std::ostringstream out;
        const auto color = [&out](const char* what, const ui::Color& c) {
            if (c != ui::Color::white()) out << what << c.red << c.green << c.blue << '/' << c.alpha;
        };
        if (const auto* label = dynamic_cast<const ui::Label*>(&view)) {
            out << " '" << label->text() << "' " << label->font().family << label->font().size
                << (label->font().bold ? " bold" : "");
            const ui::TextAlignment alignment = label->alignment();
            if (alignment != ui::TextAlignment::left)
                out << (alignment == ui::TextAlignment::right ? " right" : " centre");
            if (label->minimumScale() != 1) out << " scale " << label->minimumScale();
            if (label->numberOfLines() != 1) out << " lines " << label->numberOfLines();
            color(" colour ", label->textColor());
        } else if (const auto* button = dynamic_cast<const ui::Button*>(&view)) {
            out << ' ' << button->symbol() << ' ' << button->pointSize() << (button->isEnabled() ? "" : " off");
            color(" colour ", button->tintColor());
        } else if (const auto* image = dynamic_cast<const ui::ImageView*>(&view)) {
            out << " image " << (image->image() ? image->image()->name : "");
        } else if (const auto* slider = dynamic_cast<const ui::Slider*>(&view)) {
            out << " slider";
            color(" colour ", slider->tintColor());
        }
        if (view.backgroundColor()) color(" on ", *view.backgroundColor());
        if (view.cornerRadius() > 0) out << " round " << view.cornerRadius();
        if (view.shadow()) out << " shadow " << view.shadow()->opacity;
        const ui::Rect& place = item.frame;
        if (!out.str().empty())
            all << place.x << ',' << place.y << ' ' << place.width << 'x' << place.height << out.str() << '\n';
    }
    return all.str();
}

}  // namespace quorel::testing
