import CCorvaneOstrel
import Foundation

/// What the C interface calls back into: the console, the records, the host's transport.
final class Bridge: @unchecked Sendable {
    static let shared = Bridge()

    let decisions = Broadcaster<DecisionRecord> { on in
        corvane_set_decision_listener(on ? Bridge.decision : nil, nil)
    }
    let reports = Broadcaster<ReportRecord> { on in
        corvane_set_report_listener(on ? Bridge.report : nil, nil)
    }

    // Guards the two below; the C callbacks read them from the library's threads.
    private let lock = NSLock()
    private var console: (@Sendable (LogLine) -> Void)?
    private var transport: (any HTTPTransport)?

    func setConsole(_ handler: (@Sendable (LogLine) -> Void)?) {
        lock.withLock { console = handler }
        corvane_set_console(handler == nil ? nil : Bridge.print, nil)
    }

    /// Tells the console handler, if any, what the Swift layer itself could not do.
    func log(_ message: String) {
        lock.withLock { console }?(LogLine(level: .error, message: message))
    }

    func setTransport(_ newTransport: (any HTTPTransport)?) {
        lock.withLock { transport = newTransport }
        corvane_set_http_transport(newTransport == nil ? nil : Bridge.send, nil)
    }

    private static let print: @convention(c) (UnsafeMutableRawPointer?, Int64, UnsafePointer<CChar>?) -> Void = {
        _, level, message in
        guard let message, let handler = shared.lock.withLock({ shared.console }) else { return }
        handler(LogLine(level: LogLine.Level(rawValue: Int(level)) ?? .log, message: String(cString: message)))
    }

    private static let decision: @convention(c) (UnsafeMutableRawPointer?, UnsafePointer<CChar>?) -> Void = {
        _, text in
        if let record = JSONText.decode(JSONValue.self, from: text).flatMap(DecisionRecord.init(json:)) {
            shared.decisions.yield(record)
        }
    }

    private static let report: @convention(c) (UnsafeMutableRawPointer?, UnsafePointer<CChar>?) -> Void = {
        _, text in
        if let record = JSONText.decode(JSONValue.self, from: text).flatMap(ReportRecord.init(json:)) {
            shared.reports.yield(record)
        }
    }

    // One request of the library's, carried by the transport on a task of its own and answered once.
    private static let send:
        @convention(c) (
            UnsafeMutableRawPointer?, UInt64, UnsafePointer<CChar>?, UnsafePointer<CChar>?, UnsafePointer<CChar>?,
            UnsafePointer<UInt8>?, Int, Double
        ) -> Void = { _, id, method, url, headers, body, length, timeout in
            guard let transport = shared.lock.withLock({ shared.transport }) else {
                corvane_http_fail(id, -1, "no transport")
                return
            }
            guard let method, let url, let address = URL(string: String(cString: url)) else {
                corvane_http_fail(id, -1000, "bad URL")
                return
            }
            let pairs = JSONText.decode([[String]].self, from: headers) ?? []
            let request = HTTPRequest(
                method: String(cString: method), url: address,
                headers: pairs.compactMap { $0.count == 2 ? HTTPRequest.Header(name: $0[0], value: $0[1]) : nil },
                body: body.map { Data(bytes: $0, count: length) }, timeout: timeout)
            Task.detached {
                switch await transport.send(request) {
                case .answer(let status, _) where !(100...599).contains(status):
                    corvane_http_fail(id, -1011, "bad server response")
                case .answer(let status, let data):
                    _ = data.withUnsafeBytes { bytes in
                        corvane_http_answer(id, Int64(status), bytes.bindMemory(to: UInt8.self).baseAddress, bytes.count)
                    }
                case .failure(let code, let description):
                    corvane_http_fail(id, Int64(code), description)
                }
            }
        }
}

/// The library's main-thread work, run on the main actor whenever the library says it has some.
@MainActor
enum MainQueue {
    private static var attached = false
    static var presenter: (any Presenter)?

    /// Called at the start of every main-actor call into the library. The main actor may run on a
    /// different thread from one turn to the next (under an async main on Linux), so the library
    /// is told which thread is its main one each time; the first call also sets the waker.
    static func enter() {
        corvane_adopt_main_thread()
        guard !attached else { return }
        attached = true
        corvane_set_main_queue_waker(wake, nil)
    }

    private static let wake: @convention(c) (UnsafeMutableRawPointer?) -> Void = { _ in
        Task { @MainActor in MainQueue.run() }
    }

    private static var running = false

    /// Runs what is due; called again from inside (a presenter that taps as it is shown), it runs
    /// once the current run is over instead of inside it.
    static func run() {
        guard !running else {
            Task { @MainActor in MainQueue.run() }
            return
        }
        running = true
        defer { running = false }
        corvane_adopt_main_thread()
        corvane_run_main_queue()
    }
}
