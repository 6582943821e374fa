#include "tagging/OTTagListController.h"

#include <algorithm>
#include <string>

#include "platform/OTEnvironment.h"
#include "view/OTSceneNode.h"

namespace corvane {

OTTagListController::OTTagListController() : OTViewController("OTTagListController") {}

std::shared_ptr<OTTagListController> OTTagListController::make(Select onSelect) {
    auto controller = std::make_shared<OTTagListController>();
    controller->onSelect_ = std::move(onSelect);
    return controller;
}

void OTTagListController::didSelectRowAtIndex(std::size_t row) {
    if (row < kRows.size() && onSelect_) onSelect_(row);
}

std::shared_ptr<OTSceneNode> OTTagListController::view() {
    if (view_) return view_;
    const auto& device = OTEnvironment::current()->device();
    const OTColor background(245 / 255.0, 245 / 255.0, 245 / 255.0, 1);
    view_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "OTTagListController");
    view_->setFrame({{0, 0}, {device.screenWidth, device.screenHeight}});
    view_->setBackgroundColor(background);
    auto table = std::make_shared<OTSceneNode>(OTSceneNode::Role::Table, "tableView");
    table->setFrame({{0, kTopInset}, {device.screenWidth, std::max(0.0, device.screenHeight - kTopInset)}});
    table->setBackgroundColor(background);
    view_->addSubview(table);
    const std::weak_ptr<OTTagListController> weak = std::static_pointer_cast<OTTagListController>(shared_from_this());
    for (std::size_t row = 0; row < kRows.size(); ++row) {
        auto cell =
            OTSceneNode::makeCell(OTSceneNode::Role::TableCell,
                                  {{0, static_cast<double>(row) * (kRowHeight + 1)}, {device.screenWidth, kRowHeight}});
        cell->setBackgroundColor(OTColor(1, 1, 1, 1));
        auto title = std::make_shared<OTSceneNode>(OTSceneNode::Role::Label, "title");
        title->setFrame({{15, 0}, {device.screenWidth - 30, kRowHeight}});
        title->setText(std::string(kRows[row]));
        title->setFont("PingFangSC-Regular", 16);
        title->setTextColor(OTColor(0x33 / 255.0, 0x33 / 255.0, 0x33 / 255.0, 1));
        cell->contentView()->addSubview(title);
        cell->addAction(OTSceneNode::kTap, [weak, row] {
            if (auto self = weak.lock()) self->didSelectRowAtIndex(row);
        });
        table->addSubview(cell);
    }
    return view_;
}

}  // namespace corvane
