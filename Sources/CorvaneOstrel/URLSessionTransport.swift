import Foundation

#if canImport(FoundationNetworking)
    import FoundationNetworking
#endif

/// The library's requests carried by `URLSession`, the same code on an Apple platform and on
/// Linux. Answers are read as they arrive and given up on once they pass 16 MiB, so a hostile
/// server cannot make the app hold more.
public final class URLSessionTransport: HTTPTransport {
    /// The most bytes an answer may have, as the library takes them.
    public static let maximumAnswerBytes = 16 << 20
    /// The platform's code for an answer past that.
    public static let answerTooLargeCode = -1103
    /// The platform's code for an exchange that took longer than its time-out.
    public static let timedOutCode = -1001

    private let session: URLSession
    private let exchanges: Exchanges

    /// `configuration` (ephemeral unless given) sets caching, cookies and proxies as the app wants.
    public init(configuration: URLSessionConfiguration = .ephemeral) {
        exchanges = Exchanges()
        session = URLSession(configuration: configuration, delegate: exchanges, delegateQueue: nil)
    }

    deinit {
        session.invalidateAndCancel()
    }

    public func send(_ request: HTTPRequest) async -> HTTPResult {
        var urlRequest = URLRequest(url: request.url, timeoutInterval: request.timeout)
        urlRequest.httpMethod = request.method
        urlRequest.httpBody = request.body
        for header in request.headers {
            urlRequest.addValue(header.value, forHTTPHeaderField: header.name)
        }
        return await withCheckedContinuation { continuation in
            let task = session.dataTask(with: urlRequest)
            exchanges.begin(task.taskIdentifier, continuation: continuation)
            task.resume()
            // The whole exchange is bounded, not only the wait between bytes.
            let exchanges = exchanges
            DispatchQueue.global().asyncAfter(deadline: .now() + max(request.timeout, 0)) {
                exchanges.timeOut(task)
            }
        }
    }
}

/// The exchanges under way, each collecting its answer until the task completes.
private final class Exchanges: NSObject, URLSessionDataDelegate, @unchecked Sendable {
    private struct Exchange {
        let continuation: CheckedContinuation<HTTPResult, Never>
        var status = 0
        var body = Data()
        var tooLarge = false
        var timedOut = false
    }

    // Guarded by `lock`: the session calls its delegate on a queue of its own.
    private let lock = NSLock()
    private var exchanges: [Int: Exchange] = [:]

    func begin(_ task: Int, continuation: CheckedContinuation<HTTPResult, Never>) {
        lock.withLock { exchanges[task] = Exchange(continuation: continuation) }
    }

    func timeOut(_ task: URLSessionTask) {
        let running = lock.withLock {
            guard exchanges[task.taskIdentifier] != nil else { return false }
            exchanges[task.taskIdentifier]?.timedOut = true
            return true
        }
        if running { task.cancel() }
    }

    func urlSession(
        _ session: URLSession, dataTask: URLSessionDataTask, didReceive response: URLResponse,
        completionHandler: @escaping @Sendable (URLSession.ResponseDisposition) -> Void
    ) {
        let tooLarge = response.expectedContentLength > Int64(URLSessionTransport.maximumAnswerBytes)
        lock.withLock {
            exchanges[dataTask.taskIdentifier]?.status = (response as? HTTPURLResponse)?.statusCode ?? 0
            if tooLarge { exchanges[dataTask.taskIdentifier]?.tooLarge = true }
        }
        completionHandler(tooLarge ? .cancel : .allow)
    }

    func urlSession(_ session: URLSession, dataTask: URLSessionDataTask, didReceive data: Data) {
        let tooLarge = lock.withLock {
            guard var exchange = exchanges[dataTask.taskIdentifier], !exchange.tooLarge else { return false }
            if exchange.body.count + data.count > URLSessionTransport.maximumAnswerBytes {
                exchange.tooLarge = true
                exchange.body = Data()
            } else {
                exchange.body.append(data)
            }
            exchanges[dataTask.taskIdentifier] = exchange
            return exchange.tooLarge
        }
        if tooLarge { dataTask.cancel() }
    }

    func urlSession(_ session: URLSession, task: URLSessionTask, didCompleteWithError error: (any Error)?) {
        guard let exchange = lock.withLock({ exchanges.removeValue(forKey: task.taskIdentifier) }) else { return }
        if exchange.timedOut {
            exchange.continuation.resume(returning: .failure(code: URLSessionTransport.timedOutCode, description: "timed out"))
        } else if exchange.tooLarge {
            exchange.continuation.resume(
                returning: .failure(
                    code: URLSessionTransport.answerTooLargeCode,
                    description: "answer larger than \(URLSessionTransport.maximumAnswerBytes) bytes"))
        } else if let error {
            let failure = error as NSError
            exchange.continuation.resume(returning: .failure(code: failure.code, description: failure.localizedDescription))
        } else {
            exchange.continuation.resume(returning: .answer(status: exchange.status, body: exchange.body))
        }
    }
}
