// A list of rows below one another, of one height, that scrolls when they do not fit.
//
//   list->setRows({...});
//   row->addTapRecognizer([weak] { ... });
//
// Main run loop's thread only.
#pragma once

#include <memory>
#include <vector>

#include "quorel/ui/export.h"
#include "quorel/ui/view.h"

namespace quorel::ui {

class QUOREL_UI_API ListView : public View {
public:
    static std::shared_ptr<ListView> make() { return std::make_shared<ListView>(); }
    ListView();

    const std::vector<std::shared_ptr<View>>& rows() const { return subviews(); }
    void setRows(const std::vector<std::shared_ptr<View>>& rows);
    double rowHeight() const { return rowHeight_; }  // points
    void setRowHeight(double height);

    double contentOffset() const { return offset_; }  // points that are scrolled away at the top
    // Down for positive distances, as far as there is something. Gives whether anything moved.
    bool scrollBy(double distance);

protected:
    void layoutSubviews() override;

private:
    double rowHeight_ = 44;
    double offset_ = 0;
};

}  // namespace quorel::ui
