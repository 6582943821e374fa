// corvane-swift-bench: what the Swift layer costs beside the library's own work, for the same
// event and the same surface. Per event, the Swift layer builds the event's dictionary and encodes
// it as JSON text; the library parses it, walks the campaigns and hands over its decision record.
// Per surface, the library lays a banner out and hands its JSON text to the presenter; the Swift
// layer decodes that into a `Surface`. Run it in release against otserver, which passes its
// address:
//
//   swift build -c release --product corvane-swift-bench
//   build/release/otserver -- .build/release/corvane-swift-bench {url}
import CCorvaneOstrel
import CorvaneOstrel
import Foundation

/// What the C callbacks saw. They count only while a measurement runs; a text is kept when asked.
final class Seen: @unchecked Sendable {
    private let lock = NSLock()
    private var records = 0
    private var shown = 0
    private var keeping = false
    private var record: String?
    private var surface: String?

    func decided(_ text: UnsafePointer<CChar>?) {
        lock.withLock {
            records += 1
            if keeping, let text { record = String(cString: text) }
        }
    }

    func showed(_ text: UnsafePointer<CChar>?) {
        lock.withLock {
            shown += 1
            if keeping, let text { surface = String(cString: text) }
        }
    }

    var counts: (records: Int, shown: Int) { lock.withLock { (records, shown) } }
    func keep(_ on: Bool) { lock.withLock { keeping = on } }
    var lastRecord: String? { lock.withLock { record } }
    var lastSurface: String? { lock.withLock { surface } }
}

let seen = Seen()
let decided: @convention(c) (UnsafeMutableRawPointer?, UnsafePointer<CChar>?) -> Void = { _, text in
    seen.decided(text)
}
let showed: @convention(c) (UnsafeMutableRawPointer?, UInt64, UnsafePointer<CChar>?) -> Void = { _, _, text in
    seen.showed(text)
}

func fail(_ message: String) -> Never {
    FileHandle.standardError.write(Data("corvane-swift-bench: \(message)\n".utf8))
    exit(1)
}

func seconds(since start: DispatchTime) -> Double {
    Double(DispatchTime.now().uptimeNanoseconds - start.uptimeNanoseconds) / 1e9
}

/// Runs the library's main-thread work until `done`, or fails after `limit` seconds.
func runMainQueue(until done: () -> Bool, limit: Double = 10, what: String) {
    let start = DispatchTime.now()
    while !done() {
        corvane_run_main_queue()
        if seconds(since: start) > limit { fail("no \(what) within \(Int(limit)) s") }
    }
}

guard CommandLine.arguments.count == 2, let server = URL(string: CommandLine.arguments[1]) else {
    fail("usage: corvane-swift-bench SERVER-URL (otserver -- corvane-swift-bench {url})")
}
let sandbox = FileManager.default.temporaryDirectory.appendingPathComponent("corvane-swift-bench-\(UUID())")
try FileManager.default.createDirectory(at: sandbox, withIntermediateDirectories: true)
defer { try? FileManager.default.removeItem(at: sandbox) }
setenv("OT_SANDBOX", sandbox.path, 1)

// The console's lines go nowhere: the library's own cost is its work, not a terminal's.
CorvaneOt.setConsole { _ in }
let appGroup = "group.bench"
let observer = try CorvaneOt.observer(appGroup: appGroup)
try observer.profile(UserProfile(xwho: "u1"))
try CorvaneOt.start(
    Configuration(appKey: "bench-key", appGroup: appGroup, server: .custom(server), mainPage: "HomeVC"))
corvane_adopt_main_thread()
corvane_set_decision_listener(decided, nil)
var presenter = corvane_presenter(user: nil, show: showed, dismiss: nil, navigate: nil)
guard corvane_set_presenter(&presenter) == CORVANE_OK else { fail("no presenter") }
guard let handle = corvane_observer_get(appGroup) else { fail("no observer") }

// An event that matches no campaign, so that every campaign is walked and nothing is shown.
let event = AnalyticsEvent(
    xwhat: "bench_purchase", xwho: "u1", properties: ["price": 150, "name": "Ann", "city": "Rome", "vip": true])
let eventText = try JSONText.encode(event.json)

// The campaign list is in once a decision record lists campaigns.
seen.keep(true)
let listed = Date().addingTimeInterval(10)
var campaigns = 0
while campaigns == 0 {
    if Date() > listed { fail("the campaign list never came") }
    let before = seen.counts.records
    _ = eventText.withCString { corvane_observer_event(handle, $0) }
    runMainQueue(until: { seen.counts.records > before }, what: "decision record")
    let record = seen.lastRecord.flatMap { try? JSONSerialization.jsonObject(with: Data($0.utf8)) }
    campaigns = ((record as? [String: Any])?["campaigns"] as? [Any])?.count ?? 0
}

// The same banner loaded and released until it has its picture, its surface kept for decoding.
func loadAndRelease() -> Double {
    var surface: UInt64 = 0
    var width = 0.0
    var height = 0.0
    guard corvane_load_banner("home_top", 390, 120, 0, &surface, &width, &height) == CORVANE_OK else {
        fail("no banner at home_top")
    }
    corvane_run_main_queue()
    _ = corvane_release_banner(surface)
    corvane_run_main_queue()
    return width
}
let pictured = Date().addingTimeInterval(10)
while loadAndRelease() == 0 {
    if Date() > pictured { fail("the banner never got its picture") }
    usleep(10_000)
}
guard let surfaceText = seen.lastSurface else { fail("no surface was shown") }
seen.keep(false)

let events = 2000
let surfaces = 2000

// The library per event: through the C interface, each to its decision record.
var start = DispatchTime.now()
let recordsBefore = seen.counts.records
eventText.withCString { text in
    for _ in 0..<events { _ = corvane_observer_event(handle, text) }
}
runMainQueue(until: { seen.counts.records >= recordsBefore + events }, limit: 120, what: "decision records")
let libraryPerEvent = seconds(since: start) / Double(events)

// The Swift layer per event: the dictionary built and encoded.
start = DispatchTime.now()
var encodedBytes = 0
for _ in 0..<events { encodedBytes &+= try JSONText.encode(event.json).utf8.count }
let swiftPerEvent = seconds(since: start) / Double(events)

// The library per surface: the banner laid out, shown and released.
let shownBefore = seen.counts.shown
start = DispatchTime.now()
for _ in 0..<surfaces { _ = loadAndRelease() }
let libraryPerSurface = seconds(since: start) / Double(surfaces)
guard seen.counts.shown >= shownBefore + surfaces else { fail("a banner was not shown") }

// The Swift layer per surface: its JSON text decoded.
start = DispatchTime.now()
var nodes = 0
surfaceText.withCString { text in
    for _ in 0..<surfaces {
        guard let surface = JSONText.decode(Surface.self, from: text) else { fail("the surface did not decode") }
        nodes &+= surface.root.children.count
    }
}
let swiftPerSurface = seconds(since: start) / Double(surfaces)

corvane_set_decision_listener(nil, nil)
_ = corvane_set_presenter(nil)
corvane_observer_release(handle)

func line(_ what: String, library: Double, swift: Double, detail: String) -> String {
    let share = swift / library * 100
    return String(
        format: "%@: library %.1f µs, Swift layer %.1f µs (%.1f%% of the library's)  [%@]", what, library * 1e6,
        swift * 1e6, share, detail)
}
print(line("per event", library: libraryPerEvent, swift: swiftPerEvent,
           detail: "\(campaigns) campaigns walked, \(encodedBytes / events) bytes of JSON"))
print(line("per surface", library: libraryPerSurface, swift: swiftPerSurface,
           detail: "\(surfaceText.utf8.count) bytes of JSON, \(nodes / surfaces) nodes under the root"))
