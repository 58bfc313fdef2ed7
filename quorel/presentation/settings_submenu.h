// A list of choices over the settings panel, one of them marked.
//
// Main run loop's thread only.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "quorel/presentation/export.h"
#include "quorel/ui/control.h"
#include "quorel/ui/image_view.h"
#include "quorel/ui/list_view.h"
#include "quorel/ui/view.h"

namespace quorel {

// One row: its text, and a check mark when it is the selected one.
class QUOREL_PRESENTATION_API SettingsSubmenuCell final : public ui::Control {
public:
    static std::shared_ptr<SettingsSubmenuCell> make() { return std::make_shared<SettingsSubmenuCell>(); }
    // May be called again, with another row's text.
    void show(const std::string& text, bool selected);

    const std::shared_ptr<ui::Label>& titleLabel() const { return titleLabel_; }
    const std::shared_ptr<ui::ImageView>& selectedImage() const { return selectedImage_; }

protected:
    void layoutSubviews() override;

private:
    const std::shared_ptr<ui::Label> titleLabel_ = ui::Label::make();
    const std::shared_ptr<ui::ImageView> selectedImage_ = ui::ImageView::make();
    bool isSetup_ = false;
};

class QUOREL_PRESENTATION_API SettingsSubmenu final : public ui::View {
public:
    // Called with a row's text, or with absent when the list is closed without a choice.
    using OnSelect = std::function<void(const std::optional<std::string>&)>;

    // The row whose text equals `selected` is marked; none, when there is no such row.
    static std::shared_ptr<SettingsSubmenu> make(std::string title, std::vector<std::string> data,
                                                 std::string selected, OnSelect onSelect);

    // Takes the list away, without a choice.
    void close();
    static int numberOfSections() { return 1; }  // a list of one section
    std::size_t numberOfRows() const { return data_.size(); }
    const std::vector<std::string>& data() const { return data_; }
    const std::string& selected() const { return selected_; }

    const std::shared_ptr<ui::Button>& closeButton() const { return closeButton_; }
    const std::shared_ptr<ui::Label>& titleLabel() const { return titleLabel_; }
    const std::shared_ptr<ui::ListView>& tableView() const { return tableView_; }

protected:
    void layoutSubviews() override;

private:
    SettingsSubmenu(std::vector<std::string> data, std::string selected, OnSelect onSelect);
    void build(std::string title);

    const std::vector<std::string> data_;
    const std::string selected_;
    const OnSelect onSelect_;
    const std::shared_ptr<ui::Button> closeButton_ = ui::Button::make();
    const std::shared_ptr<ui::Label> titleLabel_ = ui::Label::make();
    const std::shared_ptr<ui::ListView> tableView_ = ui::ListView::make();
};

}  // namespace quorel
