import CCorvaneOstrel
import Foundation

/// For a host that draws what the library shows itself.
extension CorvaneOt {
    /// Installs the presenter, which is then shown every surface afresh; nil stops presenting. A
    /// host without a window of the library's gets one, whose page stack starts at the main page:
    /// set the presenter after `start`.
    @MainActor
    public static func setPresenter(_ presenter: (any Presenter)?) throws(CorvaneOtError) {
        MainQueue.enter()
        guard presenter != nil else {
            MainQueue.presenter = nil
            try CorvaneOtError.check(corvane_set_presenter(nil))
            return
        }
        var callbacks = corvane_presenter(user: nil, show: show, dismiss: dismiss, navigate: navigate)
        try CorvaneOtError.check(corvane_set_presenter(&callbacks))
        MainQueue.presenter = presenter
        MainQueue.run()
    }

    /// Declares a page of the host that links can open ("DetailVC?id=7"), with the properties a
    /// link may set on it.
    public static func registerPage(_ className: String, properties: [String] = []) throws(CorvaneOtError) {
        let text = try JSONText.encode(properties)
        try CorvaneOtError.check(corvane_register_page(className, text))
    }

    /// The host now shows the page of `className`: page tracking, first-page-view campaigns and
    /// every rule that reads the visible page follow it.
    @MainActor
    public static func pageShown(_ className: String) throws(CorvaneOtError) {
        MainQueue.enter()
        try CorvaneOtError.check(corvane_page_shown(className))
        MainQueue.run()
    }

    /// A tap on a shown node: what its "touchUpInside" actions, else its "tap" actions, do.
    @MainActor
    public static func tap(_ node: Node) throws(CorvaneOtError) {
        MainQueue.enter()
        try CorvaneOtError.check(corvane_tap(node.id))
        MainQueue.run()
    }

    /// A drag that leaves a shown scrolling node at `offset`.
    @MainActor
    public static func scroll(_ node: Node, to offset: Point) throws(CorvaneOtError) {
        MainQueue.enter()
        try CorvaneOtError.check(corvane_scroll(node.id, offset.x, offset.y))
        MainQueue.run()
    }

    /// Shows the banner of a location in a container of `size`, as a surface of kind banner until
    /// released. With `hidesWhenNotAvailable`, nothing rather than the location's default banner
    /// shows while no campaign banner is ready.
    @MainActor
    public static func loadBanner(at locationId: String, size: Size, hidesWhenNotAvailable: Bool = false)
        throws(CorvaneOtError) -> BannerSurface
    {
        MainQueue.enter()
        var surface: UInt64 = 0
        var width = 0.0
        var height = 0.0
        try CorvaneOtError.check(
            corvane_load_banner(
                locationId, size.width, size.height, hidesWhenNotAvailable ? 1 : 0, &surface, &width, &height))
        MainQueue.run()
        return BannerSurface(surface: surface, size: Size(width: width, height: height))
    }

    @MainActor
    public static func release(_ banner: BannerSurface) throws(CorvaneOtError) {
        MainQueue.enter()
        try CorvaneOtError.check(corvane_release_banner(banner.surface))
        MainQueue.run()
    }

    // The presenter's C callbacks, called from the library's main-thread work on the main actor.
    private static let show: @convention(c) (UnsafeMutableRawPointer?, UInt64, UnsafePointer<CChar>?) -> Void = {
        _, id, text in
        guard let surface = JSONText.decode(Surface.self, from: text) else {
            Bridge.shared.log("CorvaneOstrel: surface \(id) could not be read")
            return
        }
        MainActor.assumeIsolated { MainQueue.presenter?.show(surface) }
    }

    private static let dismiss: @convention(c) (UnsafeMutableRawPointer?, UInt64) -> Void = { _, id in
        MainActor.assumeIsolated { MainQueue.presenter?.dismiss(surface: id) }
    }

    private static let navigate: @convention(c) (UnsafeMutableRawPointer?, UnsafePointer<CChar>?) -> Void = {
        _, text in
        guard let navigation = JSONText.decode(Navigation.self, from: text) else {
            Bridge.shared.log("CorvaneOstrel: a navigation could not be read")
            return
        }
        MainActor.assumeIsolated { MainQueue.presenter?.navigate(navigation) }
    }
}
