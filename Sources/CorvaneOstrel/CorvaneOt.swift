import CCorvaneOstrel
import Foundation

/// The library's front door for Swift.
///
///     let observer = try CorvaneOt.observer(appGroup: "group.com.example.app")
///     try CorvaneOt.start(Configuration(appKey: "your-app-key", appGroup: "group.com.example.app",
///                                        mainPage: "HomeViewController"))
///     try observer.event(.pageView("HomeViewController", xwho: "user-1"))
///
/// The library's main-thread work runs on the main actor, woken only when there is some. Start it
/// (or ask for the observer) on the main actor first, before any other call.
public enum CorvaneOt {
    /// The library's version, e.g. "2.2.2".
    public static var sdkVersion: String { String(cString: corvane_sdk_version()) }

    /// Stores the configuration, logs in and downloads the campaigns; requests go through the
    /// configuration's transport.
    @MainActor
    public static func start(_ configuration: Configuration) throws(CorvaneOtError) {
        MainQueue.enter()
        Bridge.shared.setTransport(configuration.transport)
        let text = try JSONText.encode(configuration.json)
        try CorvaneOtError.check(corvane_start(text))
    }

    /// The engine, for the app's analytics SDK to hand events to. `appGroup` is the app group whose
    /// shared store keeps the per-user settings.
    @MainActor
    public static func observer(appGroup: String) throws(CorvaneOtError) -> Observer {
        MainQueue.enter()
        guard !appGroup.isEmpty, let handle = corvane_observer_get(appGroup) else { throw .invalidArgument }
        return Observer(handle: handle)
    }

    public static func setLogLevel(_ level: Configuration.LogLevel) {
        corvane_config_log_level(UInt64(level.rawValue))
    }

    /// The most bytes this run's log file takes (64 MiB unless set).
    public static func setLogFileLimit(bytes: UInt64) {
        corvane_config_log_file_limit(bytes)
    }

    /// Where the library's console lines go instead of standard error, on the thread that prints;
    /// nil gives them back.
    public static func setConsole(_ handler: (@Sendable (LogLine) -> Void)?) {
        Bridge.shared.setConsole(handler)
    }

    /// False holds every dialog back (nothing is shown or counted) until set true again.
    public static func setDialogsVisible(_ visible: Bool) {
        corvane_set_dialog_visible(visible ? 1 : 0)
    }

    /// Shows (true) or hides the page tagging ball, for developers naming the app's pages.
    /// The close control's label for screen readers; nil or "" gives back the built-in "关闭" or
    /// "Close", after the device language. Applies to dialogs shown from then on.
    public static func setCloseLabel(_ label: String?) {
        _ = corvane_set_close_label(label)
    }

    /// The user's preferred text size as its scale factor (`UIFontMetrics`' for the content size
    /// category: 1.0 by default, clamped to 0.8 to 3.2). Dialogs and banners shown from then on lay
    /// their texts out at that size, growing or scrolling so that no text is cut.
    public static func setTextScale(_ scale: Double) throws(CorvaneOtError) {
        try CorvaneOtError.check(corvane_set_text_scale(scale))
    }

    public static func setPageTaggingVisible(_ visible: Bool) {
        corvane_set_page_tag_state(visible ? 1 : 0)
    }

    public enum PushEvent: Int64, Sendable {
        case delivered = 0
        /// Opened: its link is followed too.
        case opened = 1
    }

    /// A push notification delivered or opened, with its payload; works in an extension too.
    public static func trackPush(_ event: PushEvent, payload: [String: JSONValue], appGroup: String)
        throws(CorvaneOtError)
    {
        let text = try JSONText.encode(JSONValue.object(payload))
        try CorvaneOtError.check(corvane_push_track(event.rawValue, text, appGroup))
    }

    /// The device token the system handed over for Apple push.
    public static func uploadPushToken(_ deviceToken: Data, appGroup: String) throws(CorvaneOtError) {
        let provider = UInt64(Configuration.PushProvider.apple.rawValue)
        var bytes = [UInt8](deviceToken)
        // An empty token still passes an address; the library refuses it by its length.
        if bytes.isEmpty { bytes = [0] }
        try CorvaneOtError.check(corvane_push_token_bytes(bytes, deviceToken.count, provider, appGroup))
    }

    /// The registration id JPush handed over.
    public static func uploadPushToken(_ registrationId: String, appGroup: String) throws(CorvaneOtError) {
        try CorvaneOtError.check(
            corvane_push_token_text(registrationId, UInt64(Configuration.PushProvider.jPush.rawValue), appGroup))
    }

    /// Why each campaign did or did not show: a record for every pass of an event over the
    /// campaigns. Records are made only while a stream is open.
    public static var decisions: AsyncStream<DecisionRecord> { Bridge.shared.decisions.stream() }

    /// What becomes of every impression, click, close and push report. Records are made only while
    /// a stream is open.
    public static var reports: AsyncStream<ReportRecord> { Bridge.shared.reports.stream() }

    /// The server's banners for a location, once banners have been downloaded; none when the
    /// location has none, or when no download succeeds within a minute. Only the location's: the
    /// raw list of the C and C++ front doors also keeps the second of two other locations' banners
    /// in a row, which this leaves out.
    public static func banners(at locationId: String) async -> [Banner] {
        await rawBanners(at: locationId).filter { $0.locationId == locationId }
    }

    private static func rawBanners(at locationId: String) async -> [Banner] {
        await withCheckedContinuation { continuation in
            let once = Once(continuation)
            let box = Unmanaged.passRetained(BannersBox(once: once)).toOpaque()
            guard corvane_get_banner(locationId, BannersBox.answer, box) == CORVANE_OK else {
                Unmanaged<BannersBox>.fromOpaque(box).release()
                once.resume(returning: [])
                return
            }
            Task {
                try? await Task.sleep(nanoseconds: 65_000_000_000)
                once.resume(returning: [])
            }
        }
    }

    /// The bytes of a campaign picture (a node's image address): the library's stored copy, or
    /// fetched once and stored. Nil when it cannot be had.
    public static func picture(at url: String) async -> Data? {
        await withCheckedContinuation { continuation in
            let box = Unmanaged.passRetained(PictureBox(once: Once(continuation))).toOpaque()
            if corvane_picture(url, PictureBox.answer, box) != CORVANE_OK {
                let picture = Unmanaged<PictureBox>.fromOpaque(box).takeRetainedValue()
                picture.once.resume(returning: nil)
            }
        }
    }

    /// The preferred size of the location's banner, zero before the first banner download.
    public static func bannerSize(at locationId: String) throws(CorvaneOtError) -> Size {
        var width = 0.0
        var height = 0.0
        try CorvaneOtError.check(corvane_banner_size(locationId, &width, &height))
        return Size(width: width, height: height)
    }
}

private final class BannersBox {
    let once: Once<[Banner]>

    init(once: Once<[Banner]>) {
        self.once = once
    }

    static let answer: @convention(c) (UnsafeMutableRawPointer?, UnsafePointer<CChar>?) -> Void = { user, text in
        guard let user else { return }
        let box = Unmanaged<BannersBox>.fromOpaque(user).takeRetainedValue()
        box.once.resume(returning: JSONText.decode([Banner].self, from: text) ?? [])
    }
}

private final class PictureBox {
    let once: Once<Data?>

    init(once: Once<Data?>) {
        self.once = once
    }

    static let answer: @convention(c) (UnsafeMutableRawPointer?, UnsafePointer<UInt8>?, Int) -> Void = {
        user, bytes, length in
        guard let user else { return }
        let box = Unmanaged<PictureBox>.fromOpaque(user).takeRetainedValue()
        box.once.resume(returning: bytes.map { Data(bytes: $0, count: length) })
    }
}
