#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "view/OTColor.h"
#include "view/OTViewController.h"

namespace corvane {

class OTSceneNode;

// The naming screen of the page tagging tool: a field for the alias, a row for the native page
// (its class name) and one for the web page shown in it (chosen independently; the web row only
// when there is a web page), and a submit button that is enabled once an alias that is not blank
// and a row are given. The upload's outcome shows as a toast, which fades away after a while.
// Main thread only.
class OTTagDetailController final : public OTViewController {
public:
    static constexpr const char* kTitle = "添加别名";
    static constexpr const char* kHeader = "填写别名";
    static constexpr const char* kPlaceholder = "请填写您需要的别名";
    static constexpr const char* kNativeRowTitle = "原生页面";
    static constexpr const char* kWebRowTitle = "H5 页面";
    static constexpr const char* kNoWebPage = "当前页面没有网页";
    static constexpr const char* kSubmitTitle = "提交";
    static constexpr const char* kSuccessText = "提交成功";
    static constexpr const char* kFailureText = "提交失败";
    // Below the status and navigation bars.
    static constexpr double kTopInset = 88;
    static constexpr double kToastWidth = 200;
    static constexpr double kToastHeight = 162;
    static constexpr std::chrono::milliseconds kToastFade{500};
    // How long a toast stays fully shown before it fades away.
    static constexpr std::chrono::milliseconds kToastStay{1500};

    OTTagDetailController();
    static std::shared_ptr<OTTagDetailController> make();

    const std::string& controllerName() const { return controllerName_; }
    void setControllerName(std::string value);
    const std::string& h5Url() const { return h5Url_; }
    void setH5Url(std::string value);
    const char* title() const { return kTitle; }

    bool cell1Choosed() const { return cell1Choosed_; }
    bool cell2Choosed() const { return cell2Choosed_; }
    // Rows toggle when tapped; the web row only when there is a web page.
    void chooseRow(std::size_t row, bool chosen);
    std::string alias() const;
    // The enabling rule of the submit button.
    bool canSubmit() const;
    static OTColor submitColor(bool enabled);
    // Uploads the alias for the chosen rows; does nothing while the button is disabled.
    void submit();
    // Shows the outcome of an upload.
    void showSuccess(bool success);

    // The screen, made on first use.
    std::shared_ptr<OTSceneNode> view();
    std::shared_ptr<OTSceneNode> aliasField();
    std::shared_ptr<OTSceneNode> submitButton();
    std::shared_ptr<OTSceneNode> cell(std::size_t row);
    // The toast on show, or nothing.
    std::shared_ptr<OTSceneNode> toast() const { return toast_; }
    // How many toasts were shown.
    std::size_t toastsShown() const { return toastsShown_; }

private:
    std::weak_ptr<OTTagDetailController> weakSelf();
    void viewDidLoad();
    std::shared_ptr<OTSceneNode> makeRow(std::size_t row, double y);
    void updateRow(std::size_t row);
    void updateSubmit();

    std::string controllerName_;
    std::string h5Url_;
    bool cell1Choosed_ = false;
    bool cell2Choosed_ = false;
    std::shared_ptr<OTSceneNode> view_;
    std::shared_ptr<OTSceneNode> aliasField_;
    std::shared_ptr<OTSceneNode> cells_[2];
    std::shared_ptr<OTSceneNode> submitButton_;
    std::shared_ptr<OTSceneNode> toast_;
    std::size_t toastsShown_ = 0;
};

}  // namespace corvane
