#include "tagging/OTTagDetailController.h"

#include <algorithm>

#include "foundation/OTText.h"
#include "platform/OTEnvironment.h"
#include "tagging/OTTagManager.h"
#include "view/OTSceneNode.h"

namespace corvane {

namespace {
constexpr double kMargin = 15;
constexpr double kRowHeight = 56;
const OTColor kBackground(245 / 255.0, 245 / 255.0, 245 / 255.0, 1);
const OTColor kWhite(1, 1, 1, 1);
const OTColor kDarkText(0x33 / 255.0, 0x33 / 255.0, 0x33 / 255.0, 1);
const OTColor kGreyText(0x99 / 255.0, 0x99 / 255.0, 0x99 / 255.0, 1);
const OTColor kToastText(0x44 / 255.0, 0x44 / 255.0, 0x44 / 255.0, 1);

std::shared_ptr<OTSceneNode> label(const std::string& name, const OTRect& frame, double size, const OTColor& color) {
    auto node = std::make_shared<OTSceneNode>(OTSceneNode::Role::Label, name);
    node->setFrame(frame);
    node->setFont("PingFangSC-Regular", size);
    node->setTextColor(color);
    node->setText(std::string());
    return node;
}

}  // namespace

OTTagDetailController::OTTagDetailController() : OTViewController("OTTagDetailController") {}

std::shared_ptr<OTTagDetailController> OTTagDetailController::make() {
    return std::make_shared<OTTagDetailController>();
}

std::weak_ptr<OTTagDetailController> OTTagDetailController::weakSelf() {
    return std::static_pointer_cast<OTTagDetailController>(shared_from_this());
}

void OTTagDetailController::setControllerName(std::string value) {
    controllerName_ = std::move(value);
    if (view_) updateRow(0);
}

void OTTagDetailController::setH5Url(std::string value) {
    h5Url_ = std::move(value);
    if (h5Url_.empty()) cell2Choosed_ = false;
    if (view_) {
        updateRow(1);
        updateSubmit();
    }
}

std::shared_ptr<OTSceneNode> OTTagDetailController::view() {
    if (!view_) viewDidLoad();
    return view_;
}

std::shared_ptr<OTSceneNode> OTTagDetailController::aliasField() {
    view();
    return aliasField_;
}

std::shared_ptr<OTSceneNode> OTTagDetailController::submitButton() {
    view();
    return submitButton_;
}

std::shared_ptr<OTSceneNode> OTTagDetailController::cell(std::size_t row) {
    view();
    return row < 2 ? cells_[row] : nullptr;
}

void OTTagDetailController::viewDidLoad() {
    const auto screen = OTEnvironment::current()->device().screenSize();
    view_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "OTTagDetailController");
    view_->setFrame({{0, 0}, screen});
    view_->setBackgroundColor(kBackground);

    auto table = std::make_shared<OTSceneNode>(OTSceneNode::Role::Table, "tableView");
    table->setFrame({{0, kTopInset}, {screen.width, std::max(0.0, screen.height - kTopInset)}});
    table->setBackgroundColor(kBackground);
    view_->addSubview(table);

    auto header = label("header", {{kMargin, 16}, {screen.width - 2 * kMargin, 20}}, 14, kGreyText);
    header->setText(std::string(kHeader));
    table->addSubview(header);

    aliasField_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::TextField, "aliasField");
    aliasField_->setFrame({{kMargin, 44}, {screen.width - 2 * kMargin, 44}});
    aliasField_->setBackgroundColor(kWhite);
    aliasField_->setCornerRadius(6);
    aliasField_->setFont("PingFangSC-Regular", 16);
    aliasField_->setTextColor(kDarkText);
    aliasField_->setPlaceholder(std::string(kPlaceholder));
    aliasField_->addAction(OTSceneNode::kEditingChanged, [weak = weakSelf()] {
        if (auto self = weak.lock()) self->updateSubmit();
    });
    table->addSubview(aliasField_);

    cells_[0] = makeRow(0, 104);
    cells_[1] = makeRow(1, 104 + kRowHeight + 1);
    table->addSubview(cells_[0]);
    table->addSubview(cells_[1]);

    submitButton_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::Button, "submitButton");
    submitButton_->setFrame({{kMargin, 241}, {screen.width - 2 * kMargin, 44}});
    submitButton_->setCornerRadius(6);
    submitButton_->setText(std::string(kSubmitTitle));
    submitButton_->setTextColor(kWhite);
    submitButton_->setFont("PingFangSC-Medium", 17);
    submitButton_->setTextAlignment(OTSceneNode::TextAlignment::Center);
    submitButton_->addAction(OTSceneNode::kTouchUpInside, [weak = weakSelf()] {
        if (auto self = weak.lock()) self->submit();
    });
    table->addSubview(submitButton_);

    updateRow(0);
    updateRow(1);
    updateSubmit();
}

std::shared_ptr<OTSceneNode> OTTagDetailController::makeRow(std::size_t row, double y) {
    const double width = OTEnvironment::current()->device().screenSize().width;
    auto cell = OTSceneNode::makeCell(OTSceneNode::Role::TableCell, {{0, y}, {width, kRowHeight}});
    cell->setName(row == 0 ? "nativeRow" : "webRow");
    cell->setBackgroundColor(kWhite);
    auto content = cell->contentView();
    auto title = label("title", {{kMargin, 8}, {width - 80, 22}}, 16, kDarkText);
    title->setText(std::string(row == 0 ? kNativeRowTitle : kWebRowTitle));
    content->addSubview(title);
    auto detail = label("detail", {{kMargin, 30}, {width - 80, 18}}, 12, kGreyText);
    detail->setNumberOfLines(1);
    content->addSubview(detail);
    auto check = label("checkmark", {{width - 45, 13}, {30, 30}}, 20, submitColor(true));
    check->setText(std::string("✓"));
    check->setTextAlignment(OTSceneNode::TextAlignment::Center);
    content->addSubview(check);
    cell->addAction(OTSceneNode::kTap, [weak = weakSelf(), row] {
        if (auto self = weak.lock()) self->chooseRow(row, !(row == 0 ? self->cell1Choosed_ : self->cell2Choosed_));
    });
    return cell;
}

void OTTagDetailController::updateRow(std::size_t row) {
    const auto& cell = cells_[row];
    const auto content = cell->contentView();
    const bool chosen = row == 0 ? cell1Choosed_ : cell2Choosed_;
    const bool selectable = row == 0 || !h5Url_.empty();
    content->findByName("detail")->setText(row == 0 ? controllerName_ : (h5Url_.empty() ? kNoWebPage : h5Url_));
    content->findByName("title")->setTextColor(selectable ? kDarkText : submitColor(false));
    content->findByName("checkmark")->setHidden(!chosen);
    cell->setUserInteractionEnabled(selectable);
}

void OTTagDetailController::chooseRow(std::size_t row, bool chosen) {
    if (row > 1 || (row == 1 && chosen && h5Url_.empty())) return;
    (row == 0 ? cell1Choosed_ : cell2Choosed_) = chosen;
    if (!view_) return;
    updateRow(row);
    updateSubmit();
}

std::string OTTagDetailController::alias() const {
    return aliasField_ ? aliasField_->text().value_or("") : std::string();
}

bool OTTagDetailController::canSubmit() const {
    return !OTText::trimmed(alias(), true).empty() && (cell1Choosed_ || cell2Choosed_);
}

OTColor OTTagDetailController::submitColor(bool enabled) {
    return enabled ? OTColor(12 / 255.0, 219 / 255.0, 93 / 255.0, 1)
                   : OTColor(177 / 255.0, 183 / 255.0, 190 / 255.0, 1);
}

void OTTagDetailController::updateSubmit() {
    const bool enabled = canSubmit();
    submitButton_->setBackgroundColor(submitColor(enabled));
    submitButton_->setUserInteractionEnabled(enabled);
}

void OTTagDetailController::submit() {
    if (!canSubmit()) return;
    OTTagManager::manager()->uploadAlias(
        alias(), cell1Choosed_ ? std::optional<std::string>(controllerName_) : std::nullopt,
        cell2Choosed_ ? std::optional<std::string>(h5Url_) : std::nullopt, [weak = weakSelf()](bool success) {
            OTEnvironment::current()->mainQueue()->async([weak, success] {
                if (auto self = weak.lock()) self->showSuccess(success);
            });
        });
}

void OTTagDetailController::showSuccess(bool success) {
    const auto screen = OTEnvironment::current()->device().screenSize();
    if (toast_) toast_->removeFromSuperview();
    toast_ = std::make_shared<OTSceneNode>(OTSceneNode::Role::View, "toast");
    toast_->setFrame(
        {{screen.width / 2 - kToastWidth / 2, screen.height * 0.4 - kToastHeight / 2}, {kToastWidth, kToastHeight}});
    toast_->setBackgroundColor(kWhite);
    toast_->setCornerRadius(25);
    toast_->setZPosition(1);
    auto image = std::make_shared<OTSceneNode>(OTSceneNode::Role::Image, "image");
    image->setFrame({{(kToastWidth - 49) / 2, 22.5}, {49, 49}});
    image->setImageNamed(success ? "ot_submit_success" : "ot_submit_fail");
    toast_->addSubview(image);
    auto text = label("text", {{(kToastWidth - 103) / 2, 95}, {103, 33.5}}, 24, kToastText);
    text->setFont("PingFangSC-Semibold", 24);
    text->setText(std::string(success ? kSuccessText : kFailureText));
    text->setTextAlignment(OTSceneNode::TextAlignment::Center);
    toast_->addSubview(text);
    toast_->setAlpha(0);
    view()->addSubview(toast_);
    const std::size_t shown = ++toastsShown_;

    // Fades in, stays, fades out; a newer toast takes over the timing of an older one.
    OTSceneNode::animate(
        kToastFade, [this] { toast_->setAlpha(1); },
        [weak = weakSelf(), shown] {
            OTEnvironment::current()->mainQueue()->after(kToastStay, [weak, shown] {
                auto self = weak.lock();
                if (!self || self->toastsShown_ != shown || !self->toast_) return;
                OTSceneNode::animate(
                    kToastFade, [&] { self->toast_->setAlpha(0); },
                    [weak, shown] {
                        auto again = weak.lock();
                        if (!again || again->toastsShown_ != shown || !again->toast_) return;
                        again->toast_->removeFromSuperview();
                        again->toast_.reset();
                    });
            });
        });
}

}  // namespace corvane
