#include "quorel/presentation/settings_submenu.h"

#include <utility>

#include "quorel/presentation/settings_layout.h"
#include "quorel/ui/geometry.h"

namespace quorel {

void SettingsSubmenuCell::show(const std::string& text, bool selected) {
    if (!isSetup_) {
        isSetup_ = true;
        setCornerRadius(8);
        titleLabel_->setFont({"", 14});
        titleLabel_->setTextColor(ui::Color::white());
        titleLabel_->setAlignment(ui::TextAlignment::center);
        titleLabel_->setShadow(settings::textShadow);
        selectedImage_->setImage(ui::Image{.name = "checkmark"});
        addSubview(titleLabel_);
        addSubview(selectedImage_);
        layoutSubviews();
    }
    titleLabel_->setText(text);
    selectedImage_->setHidden(!selected);
    setAccessibilityName(text);
}

void SettingsSubmenuCell::layoutSubviews() {
    constexpr double inset = 8;
    constexpr double mark = 20;
    const ui::Rect all = bounds();
    titleLabel_->setFrame({inset, inset, all.width - 2 * inset, all.height - 2 * inset});
    selectedImage_->setFrame({all.width - inset - mark, (all.height - mark) / 2, mark, mark});
}

std::shared_ptr<SettingsSubmenu> SettingsSubmenu::make(std::string title, std::vector<std::string> data,
                                                       std::string selected, OnSelect onSelect) {
    std::shared_ptr<SettingsSubmenu> submenu(
        new SettingsSubmenu(std::move(data), std::move(selected), std::move(onSelect)));
    submenu->build(std::move(title));
    return submenu;
}

SettingsSubmenu::SettingsSubmenu(std::vector<std::string> data, std::string selected, OnSelect onSelect)
    : data_(std::move(data)), selected_(std::move(selected)), onSelect_(std::move(onSelect)) {}

void SettingsSubmenu::build(std::string title) {
    const std::weak_ptr<SettingsSubmenu> weak = std::static_pointer_cast<SettingsSubmenu>(shared_from_this());
    titleLabel_->setText(std::move(title));
    titleLabel_->setFont({"", 16, true});
    titleLabel_->setTextColor(ui::Color::white());
    titleLabel_->setAlignment(ui::TextAlignment::center);
    titleLabel_->setShadow(settings::textShadow);
    settings::styleCloseButton(*closeButton_);
    closeButton_->addAction(ui::ControlEvent::touchUpInside, [weak] {
        if (const auto submenu = weak.lock()) submenu->close();
    });

    std::vector<std::shared_ptr<ui::View>> rows;
    for (const std::string& text : data_) {
        const auto cell = SettingsSubmenuCell::make();
        cell->show(text, text == selected_);
        cell->addAction(ui::ControlEvent::touchUpInside, [weak, text] {
            const auto submenu = weak.lock();
            if (submenu && submenu->onSelect_) submenu->onSelect_(text);
        });
        rows.push_back(cell);
    }
    tableView_->setRowHeight(settings::rowHeight);
    tableView_->setRows(rows);
    tableView_->setAccessibilityName(titleLabel_->text());

    addSubview(titleLabel_);
    addSubview(tableView_);
    addSubview(closeButton_);
}

void SettingsSubmenu::close() {
    if (onSelect_) onSelect_(std::nullopt);
}

void SettingsSubmenu::layoutSubviews() {
    const ui::Rect close = settings::closeButtonFrame(*this);
    closeButton_->setFrame(close);
    titleLabel_->setFrame(
        {close.right(), close.y, std::max(0.0, bounds().width - 2 * close.right()), close.height});
    tableView_->setFrame(settings::column(*this, settings::rowHeight * static_cast<double>(data_.size())));
}

}  // namespace quorel
