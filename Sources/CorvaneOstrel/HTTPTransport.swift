import Foundation

/// One request of the library's, for the host's HTTP stack to carry.
public struct HTTPRequest: Sendable, Hashable {
    public struct Header: Sendable, Hashable {
        public let name: String
        public let value: String
    }

    public let method: String
    /// Always http or https.
    public let url: URL
    public let headers: [Header]
    public let body: Data?
    /// How long the whole exchange may take.
    public let timeout: TimeInterval

    public init(method: String, url: URL, headers: [Header] = [], body: Data? = nil, timeout: TimeInterval = 60) {
        self.method = method
        self.url = url
        self.headers = headers
        self.body = body
        self.timeout = timeout
    }
}

/// What became of a request: an HTTP answer of any status, or no answer.
public enum HTTPResult: Sendable, Hashable {
    case answer(status: Int, body: Data)
    /// The platform's failure code and text (-1001 timed out, -1009 offline, -1103 too large, ...).
    case failure(code: Int, description: String)
}

/// An HTTP stack that carries the library's requests: the app's own, as on an Apple platform.
/// Whatever it does, the library keeps its bounds: answers over 16 MiB fail, and a request not
/// answered within its time-out fails as timed out.
public protocol HTTPTransport: Sendable {
    func send(_ request: HTTPRequest) async -> HTTPResult
}
