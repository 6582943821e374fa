#include "core/OTPageCollection.h"

#include <algorithm>

#include "core/OTDispatchQueueManager.h"
#include "core/OTSDKManager.h"
#include "core/OTSwizzler.h"
#include "view/OTViewController.h"

namespace corvane {

namespace {
// The platform's own pages, by exact name: only the host app's pages are reported.
std::vector<std::string> excludedPages() {
    return {"SFBrowserRemoteViewController",
            "SFSafariViewController",
            "UIAlertController",
            "UIInputWindowController",
            "UITabBarController",
            "UINavigationController",
            "UIKeyboardCandidateGridCollectionViewController",
            "UICompatibilityInputViewController",
            "UIApplicationRotationFollowingController",
            "UIApplicationRotationFollowingControllerNoTouches",
            "AVPlayerViewController",
            "UIActivityGroupViewController",
            "UIReferenceLibraryViewController",
            "UIKeyboardCandidateRowViewController",
            "UIKeyboardHiddenViewController",
            "_UIAlertControllerTextFieldViewController",
            "_UILongDefinitionViewController",
            "_UIResilientRemoteViewContainerViewController",
            "_UIShareExtensionRemoteViewController",
            "_UIDICActivityViewController",
            "_UIRemoteDictionaryViewController",
            "UISystemKeyboardDockController",
            "_UINoDefinitionViewController",
            "UIImagePickerController",
            "_UIActivityGroupListViewController",
            "_UIRemoteViewController",
            "_UIFallbackPresentationViewController",
            "_UIDocumentPickerRemoteViewController",
            "_UIAlertShimPresentingViewController",
            "_UIWaitingForRemoteViewContainerViewController",
            "UIDocumentMenuViewController",
            "UIActivityViewController",
            "_UIActivityUserDefaultsViewController",
            "_UIActivityViewControllerContentController",
            "_UIRemoteInputViewController",
            "UIViewController",
            "UITableViewController",
            "_UIUserDefaultsActivityNavigationController",
            "UISnapshotModalViewController",
            "WKActionSheet",
            "DDSafariViewController",
            "SFAirDropActivityViewController",
            "CKSMSComposeController",
            "DDParsecLoadingViewController",
            "PLUIPrivacyViewController",
            "PLUICameraViewController",
            "SLRemoteComposeViewController",
            "CAMViewfinderViewController",
            "DDParsecNoDataViewController",
            "CAMPreviewViewController",
            "DDParsecCollectionViewController",
            "SLComposeViewController",
            "DDParsecRemoteCollectionViewController",
            "AVFullScreenPlaybackControlsViewController",
            "PLPhotoTileViewController",
            "AVFullScreenViewController",
            "CAMImagePickerCameraViewController",
            "CKSMSComposeRemoteViewController",
            "PUPhotoPickerHostViewController",
            "PUUIAlbumListViewController",
            "PUUIPhotosAlbumViewController",
            "SFAppAutoFillPasswordViewController",
            "PUUIMomentsGridViewController",
            "SFPasswordRemoteViewController"};
}
}  // namespace

OTPageCollection::OTPageCollection(OTScheduler& scheduler, std::shared_ptr<OTSwizzler> swizzler)
    : scheduler_(scheduler), swizzler_(std::move(swizzler)), excluded_(excludedPages()) {}

void OTPageCollection::collectPage() {
    std::weak_ptr<OTPageCollection> weak = weak_from_this();
    OTDispatchQueueManager::dispatchInMainThread(
        scheduler_,
        [weak, swizzler = swizzler_] {
            auto pageView = [weak](bool appear) {
                return [weak, appear](const OTMethodRuntime::Receiver& receiver, const std::string&,
                                      const OTMethodRuntime::Arguments&) {
                    auto self = weak.lock();
                    if (!self) return;
                    auto controller = std::static_pointer_cast<OTViewController>(receiver);
                    if (appear) self->viewDidAppear(controller);
                    else self->viewWillDisappear(controller);
                };
            };
            swizzler->swizzleSelector("viewDidAppear:", "UIViewController", pageView(true), "OTViewDidAppear");
            swizzler->swizzleSelector("viewWillDisappear:", "UIViewController", pageView(false), "OTViewWillDisappear");
        },
        true);
}

void OTPageCollection::viewDidAppear(const std::shared_ptr<OTViewController>& controller) {
    OTDispatchQueueManager::dispatchInSerialQueue(
        scheduler_, OTDispatchQueueManager::QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD,
        [weak = weak_from_this(), controller] {
            auto self = weak.lock();
            if (!self || !self->canCollectViewController(controller)) return;
            if (auto delegate = self->delegate()) delegate->autoPageCollected(controller);
        });
}

void OTPageCollection::viewWillDisappear(const std::shared_ptr<OTViewController>&) {
    OTDispatchQueueManager::dispatchInSerialQueue(
        scheduler_, OTDispatchQueueManager::QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD, [] {});
}

bool OTPageCollection::canCollectViewController(const std::shared_ptr<OTViewController>& controller) const {
    if (!controller || controller->className().empty()) return false;
    const auto engine = delegate();
    if (!engine || !engine->autoCollectPage()) return false;
    if (std::find(excluded_.begin(), excluded_.end(), controller->className()) != excluded_.end()) return false;
    return !controller->isKindOfClass("UINavigationController") && !controller->isKindOfClass("UITabBarController");
}

}  // namespace corvane
