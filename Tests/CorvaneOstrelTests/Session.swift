import CorvaneOstrel
import Foundation
import XCTest

/// What the host shows, as the library hands it over, and a stream of each change.
@MainActor
final class RecordingPresenter: Presenter {
    enum Change: Sendable {
        case shown(Surface)
        case dismissed(UInt64)
        case navigated(Navigation)
    }

    private(set) var surfaces: [UInt64: Surface] = [:]
    /// Whether every call came on the main thread, where the library's main-thread work runs.
    private(set) var onMainThread = true
    private var watchers: [UUID: AsyncStream<Change>.Continuation] = [:]

    /// The changes from now on; each wait watches afresh, since a cancelled wait ends its stream.
    func watch() -> AsyncStream<Change> {
        let (stream, continuation) = AsyncStream.makeStream(of: Change.self)
        let id = UUID()
        watchers[id] = continuation
        continuation.onTermination = { _ in Task { @MainActor in Session.presenter.watchers[id] = nil } }
        return stream
    }

    private func tell(_ change: Change) {
        for watcher in watchers.values { watcher.yield(change) }
    }

    func show(_ surface: Surface) {
        onMainThread = onMainThread && Thread.isMainThread
        surfaces[surface.id] = surface
        tell(.shown(surface))
    }

    func dismiss(surface: UInt64) {
        onMainThread = onMainThread && Thread.isMainThread
        surfaces[surface] = nil
        tell(.dismissed(surface))
    }

    func navigate(_ navigation: Navigation) {
        onMainThread = onMainThread && Thread.isMainThread
        tell(.navigated(navigation))
        if let page = navigation.page { try? CorvaneOt.pageShown(page) }
    }
}

/// The library, started once for the whole test run (it lives as long as its process) against
/// otserver, over a fresh sandbox, for user "u1" of "group.demo", drawn by a recording presenter.
@MainActor
enum Session {
    nonisolated static let appGroup = "group.demo"
    private(set) static var server: DevServer!
    private(set) static var sandbox: URL!
    private(set) static var observer: Observer!
    static let presenter = RecordingPresenter()
    nonisolated static let console = Console()

    static func start() async throws {
        if server != nil { return }
        sandbox = FileManager.default.temporaryDirectory.appendingPathComponent("corvane-swift-\(UUID())")
        try FileManager.default.createDirectory(at: sandbox, withIntermediateDirectories: true)
        setenv("OT_SANDBOX", sandbox.path, 1)
        server = try DevServer.launch()
        // The server and the sandbox go with the test process, whichever test ran last.
        atexit {
            MainActor.assumeIsolated {
                Session.server?.stop()
                try? FileManager.default.removeItem(at: Session.sandbox)
            }
        }
        CorvaneOt.setConsole { line in Session.console.append(line) }
        observer = try CorvaneOt.observer(appGroup: appGroup)
        try observer.profile(UserProfile(xwho: "u1"))
        try CorvaneOt.registerPage("DetailVC", properties: ["id", "name"])
        try CorvaneOt.start(
            Configuration(
                appKey: "swift-key", appGroup: appGroup, server: .custom(server.baseURL.appendingPathComponent("")),
                mainPage: "HomeVC"))
        try CorvaneOt.setPresenter(presenter)
        // The list is in once its "$pullDialog" report reaches the server.
        try await server.waitFor("/push/sdk/in_app/callback")
    }
}

/// The library's console lines, kept instead of printed.
final class Console: @unchecked Sendable {
    private let lock = NSLock()
    private var lines: [LogLine] = []

    func append(_ line: LogLine) {
        lock.withLock { lines.append(line) }
    }

    var count: Int { lock.withLock { lines.count } }
}

/// The first element of `stream` that `matches`, or nil once `seconds` have passed.
func first<Element: Sendable>(
    of stream: AsyncStream<Element>, within seconds: Double = 10, where matches: @escaping @Sendable (Element) -> Bool
) async -> Element? {
    await withTaskGroup(of: Element?.self) { group in
        group.addTask {
            for await element in stream where matches(element) { return element }
            return nil
        }
        group.addTask {
            try? await Task.sleep(nanoseconds: UInt64(seconds * 1_000_000_000))
            return nil
        }
        let found = await group.next() ?? nil
        group.cancelAll()
        return found
    }
}
