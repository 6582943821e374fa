import CorvaneOstrel
import Foundation
import XCTest

#if canImport(FoundationNetworking)
    import FoundationNetworking
#endif

/// otserver with the sample campaigns, started by the tests on a port the system chooses: what it
/// received, and faults to inject, through its control paths.
final class DevServer: @unchecked Sendable {
    let baseURL: URL
    private let process: Process

    /// otserver from $OTSERVER, else the debug build's.
    static func launch() throws -> DevServer {
        let root = URL(fileURLWithPath: #filePath).deletingLastPathComponent().deletingLastPathComponent()
            .deletingLastPathComponent()
        let path = ProcessInfo.processInfo.environment["OTSERVER"] ?? root.appendingPathComponent("build/debug/otserver").path
        let process = Process()
        process.executableURL = URL(fileURLWithPath: path)
        let output = Pipe()
        process.standardOutput = output
        process.standardError = FileHandle.nullDevice
        try process.run()
        // Its first line is its address.
        var line = Data()
        while !line.contains(UInt8(ascii: "\n")) {
            let chunk = output.fileHandleForReading.availableData
            if chunk.isEmpty { break }
            line.append(chunk)
        }
        let text = String(decoding: line, as: UTF8.self).trimmingCharacters(in: .whitespacesAndNewlines)
        guard let url = URL(string: text), text.hasPrefix("http://127.0.0.1:") else {
            process.terminate()
            throw XCTSkip("otserver at \(path) gave no address")
        }
        return DevServer(baseURL: url, process: process)
    }

    private init(baseURL: URL, process: Process) {
        self.baseURL = baseURL
        self.process = process
    }

    func stop() {
        process.terminate()
        process.waitUntilExit()
    }

    /// The paths of the requests received so far, with whether each was refused.
    func requests() async throws -> [(path: String, refused: Bool, body: JSONValue)] {
        let (data, _) = try await URLSession.shared.data(from: baseURL.appendingPathComponent("_dev/requests"))
        let list = try JSONDecoder().decode([JSONValue].self, from: data)
        return list.map { ($0["path"]?.stringValue ?? "", $0["refused"]?.boolValue ?? false, $0["body"] ?? .null) }
    }

    /// The next `fault["count"]` requests to `fault["path"]` get the fault.
    func inject(_ fault: JSONValue) async throws {
        var request = URLRequest(url: baseURL.appendingPathComponent("_dev/fault"))
        request.httpMethod = "POST"
        request.httpBody = try JSONEncoder().encode(fault)
        let (_, response) = try await URLSession.shared.data(for: request)
        XCTAssertEqual((response as? HTTPURLResponse)?.statusCode, 200)
    }

    /// Waits, bounded, until a request to `path` has been received `count` times.
    func waitFor(_ path: String, count: Int = 1) async throws {
        for _ in 0..<400 {
            if try await requests().filter({ $0.path == path }).count >= count { return }
            try await Task.sleep(nanoseconds: 25_000_000)
        }
        XCTFail("\(path) was not received \(count) times")
    }
}
