import Foundation
import XCTest

@testable import CorvaneOstrel

/// The library's requests through URLSession fare as through libcurl, fault by fault.
final class TransportTests: XCTestCase {
    override func setUp() async throws {
        try await Session.start()
    }

    /// What becomes of a delivered push's report when the server answers with `fault`: the fates
    /// of its report records, in order, up to the one that ends it.
    @MainActor
    private func fates(of fault: JSONValue, activity: String, recorder: ReportRecorder) async throws
        -> [ReportRecord.Fate]
    {
        guard case .object(var fields) = fault else { return [] }
        fields["path"] = "/push/sdk/in_app/callback"
        try await Session.server.inject(.object(fields))
        try CorvaneOt.trackPush(.delivered, payload: ["activityId": .string(activity)], appGroup: Session.appGroup)
        // A refusal ends it unless the token expired: then it is sent after logging in again.
        let ends: Set<ReportRecord.Fate> = fields["code"] == nil ? [.sent, .queued, .refused] : [.sent, .queued]
        return await recorder.fates(of: activity, until: ends)
    }

    @MainActor
    func testFaultsEndTheSameThroughURLSessionAsThroughLibcurl() async throws {
        let recorder = ReportRecorder()
        let reports = CorvaneOt.reports
        let listening = Task { await recorder.record(reports) }
        defer { listening.cancel() }
        let faults: [(String, JSONValue, [ReportRecord.Fate])] = [
            ("500", ["httpStatus": 500], [.made, .refused]),
            ("10001", ["code": 10001], [.made, .refused, .sent]),
            ("garbage", ["malformedBody": true], [.made, .refused]),
            ("non-object", ["nonObjectBody": true], [.made, .refused]),
            ("cut", ["truncatedBody": true, "paddedBodyBytes": 4096], [.made, .failed, .queued]),
            ("dropped", ["dropConnection": true], [.made, .failed, .queued]),
            ("oversized", ["paddedBodyBytes": .int(Int64(URLSessionTransport.maximumAnswerBytes + 1))], [.made, .failed, .queued]),
        ]
        for (route, transport) in [("urlsession", URLSessionTransport() as (any HTTPTransport)?), ("libcurl", nil)] {
            Bridge.shared.setTransport(transport)
            for (name, fault, expected) in faults {
                let activity = "\(route)-\(name)"
                let fates = try await fates(of: fault, activity: activity, recorder: recorder)
                XCTAssertEqual(fates, expected, activity)
            }
        }
        Bridge.shared.setTransport(URLSessionTransport())
    }

    /// The transport itself: a late answer times out, an oversized one is given up on.
    func testURLSessionTransportTimesOutAndGivesUpOnHugeAnswers() async throws {
        let server = await Session.server!
        let transport = URLSessionTransport()
        let login = server.baseURL.appendingPathComponent("push/sdk/login")
        let body = Data(#"{"appKey":"k"}"#.utf8)
        try await server.inject(["path": "/push/sdk/login", "delayMs": 1500])
        let late = await transport.send(HTTPRequest(method: "POST", url: login, body: body, timeout: 0.3))
        guard case .failure(let code, _) = late else { return XCTFail("\(late)") }
        XCTAssertEqual(code, -1001)
        try await server.inject(["path": "/push/sdk/login", "paddedBodyBytes": .int(Int64(URLSessionTransport.maximumAnswerBytes + 1))])
        let huge = await transport.send(HTTPRequest(method: "POST", url: login, body: body))
        XCTAssertEqual(huge, .failure(code: -1103, description: "answer larger than 16777216 bytes"))
        guard case .answer(200, let answer) = await transport.send(HTTPRequest(method: "POST", url: login, body: body))
        else { return XCTFail("no answer") }
        XCTAssertEqual(try JSONDecoder().decode(JSONValue.self, from: answer)["code"], 0)
    }
}

/// Every report record heard, by the push activity it is about.
actor ReportRecorder {
    private var fates: [String: [ReportRecord.Fate]] = [:]
    private var waiters: [(activity: String, ends: Set<ReportRecord.Fate>, CheckedContinuation<Void, Never>)] = []

    func record(_ reports: AsyncStream<ReportRecord>) async {
        for await record in reports {
            guard let activity = record.report?["xcontext"]?["activityId"]?.stringValue else { continue }
            fates[activity, default: []].append(record.fate)
            waiters.removeAll { waiter in
                guard waiter.activity == activity, waiter.ends.contains(record.fate) else { return false }
                waiter.2.resume()
                return true
            }
        }
    }

    /// The fates of `activity`'s report once one of `ends` came, or as they stand after 20 s.
    func fates(of activity: String, until ends: Set<ReportRecord.Fate>) async -> [ReportRecord.Fate] {
        if !(fates[activity] ?? []).contains(where: ends.contains) {
            let timeout = Task { [weak self] in
                try? await Task.sleep(nanoseconds: 20_000_000_000)
                await self?.giveUp(activity)
            }
            await withCheckedContinuation { waiters.append((activity, ends, $0)) }
            timeout.cancel()
        }
        return fates[activity] ?? []
    }

    private func giveUp(_ activity: String) {
        waiters.removeAll { waiter in
            guard waiter.activity == activity else { return false }
            waiter.2.resume()
            return true
        }
    }
}
