// A host app in Swift: hands the library the analytics events it records, draws each surface it is
// shown as lines of text, presses a dialog's last button as a user would, performs the navigation
// the library hands it, and keeps the library's console lines instead of printing them.
//
//     otserver -- swift-host {url}
import CorvaneOstrel
import Foundation

@MainActor
final class TextScreen: Presenter {
    private var shown: [UInt64: Surface.Kind] = [:]
    private(set) var navigations: [Navigation] = []
    /// The button to press once the dialog is drawn: a user reads before tapping.
    private var pending: Node?

    func show(_ surface: Surface) {
        var lines: [String] = []
        var buttons: [Node] = []
        draw(surface.root, into: &lines, buttons: &buttons)
        print("\(surface.kind.rawValue) \(surface.id):")
        for line in lines { print("  \(line)") }
        // A dialog is answered once, when it first shows; later calls only redraw it.
        if surface.kind == .dialog, shown[surface.id] == nil, let last = buttons.last { pending = last }
        shown[surface.id] = surface.kind
    }

    func dismiss(surface: UInt64) {
        print("\(shown.removeValue(forKey: surface)?.rawValue ?? "surface") \(surface) dismissed")
    }

    func navigate(_ navigation: Navigation) {
        print("navigate \(navigation.kind.rawValue) \(navigation.url ?? navigation.page ?? "") (\(navigation.source.rawValue))")
        navigations.append(navigation)
        if let page = navigation.page { try? CorvaneOt.pageShown(page) }
    }

    func pressPending() {
        guard let button = pending else { return }
        pending = nil
        do {
            try CorvaneOt.tap(button)
            print("pressed [\(button.text ?? "")]")
        } catch {
            print("pressed [\(button.text ?? "")] (not shown any more)")
        }
    }

    private func draw(_ node: Node, into lines: inout [String], buttons: inout [Node]) {
        if node.isHidden { return }
        switch node.role {
        case .button where !(node.text ?? "").isEmpty:
            lines.append("[\(node.text!)]")
            buttons.append(node)
        case .label where !(node.text ?? "").isEmpty:
            lines.append(node.text!)
        default:
            if let url = node.image?.url { lines.append("<picture \(url)>") }
        }
        for child in node.children { draw(child, into: &lines, buttons: &buttons) }
    }
}

final class ConsoleLines: @unchecked Sendable {
    private let lock = NSLock()
    private var count = 0
    func add() { lock.withLock { count += 1 } }
    var total: Int { lock.withLock { count } }
}

@MainActor
func run(serverURL: URL) async throws -> Int32 {
    let console = ConsoleLines()
    CorvaneOt.setConsole { _ in console.add() }
    let appGroup = "group.com.example.swift"
    let observer = try CorvaneOt.observer(appGroup: appGroup)
    try observer.profile(UserProfile(xwho: "user-1"))
    try CorvaneOt.start(
        Configuration(appKey: "swift-app-key", appGroup: appGroup, server: .custom(serverURL), mainPage: "HomeVC"))
    let screen = TextScreen()
    try CorvaneOt.setPresenter(screen)
    // The user comes back to the home page now and then while the campaigns download.
    var events = 0
    for _ in 0..<20 where screen.navigations.isEmpty {
        try observer.event(.pageView("HomeVC", xwho: "user-1"))
        events += 1
        try await Task.sleep(nanoseconds: 500_000_000)
        screen.pressPending()
    }
    try CorvaneOt.setPresenter(nil)
    print("CorvaneOstrel \(CorvaneOt.sdkVersion) from Swift: \(events) events handed over, \(console.total) console lines kept")
    guard !screen.navigations.isEmpty else {
        print("expected the welcome dialog and its navigation, saw none")
        return 1
    }
    return 0
}

// A fresh sandbox each run unless OT_SANDBOX names one: the welcome campaign shows once per user.
if ProcessInfo.processInfo.environment["OT_SANDBOX"] == nil {
    let sandbox = FileManager.default.temporaryDirectory.appendingPathComponent("swift-host-\(UUID().uuidString)")
    try FileManager.default.createDirectory(at: sandbox, withIntermediateDirectories: true)
    setenv("OT_SANDBOX", sandbox.path, 1)
}
guard CommandLine.arguments.count == 2, let url = URL(string: CommandLine.arguments[1]) else {
    print("usage: swift-host SERVER_URL   (otserver -- swift-host {url})")
    exit(2)
}
exit(try await run(serverURL: url))
