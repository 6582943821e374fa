import Foundation

/// Hands each record to every stream open on it. The first stream opened turns the library's
/// records on and the last one closed turns them off, so no record is made while nobody listens.
final class Broadcaster<Element: Sendable>: @unchecked Sendable {
    private let listen: @Sendable (Bool) -> Void
    // Guards `streams` and `nextId`; held only for the access, never while calling the library.
    private let lock = NSLock()
    // Keeps turning the library's records on and off in the order streams open and close.
    private let switching = NSLock()
    private var streams: [UInt64: AsyncStream<Element>.Continuation] = [:]
    private var nextId: UInt64 = 0

    /// `listen(true)` turns the library's records on, `listen(false)` off.
    init(listen: @escaping @Sendable (Bool) -> Void) {
        self.listen = listen
    }

    func stream() -> AsyncStream<Element> {
        AsyncStream(bufferingPolicy: .bufferingNewest(10_000)) { continuation in
            switching.withLock {
                let (id, first) = lock.withLock {
                    nextId += 1
                    streams[nextId] = continuation
                    return (nextId, streams.count == 1)
                }
                continuation.onTermination = { [weak self] _ in self?.close(id) }
                if first { listen(true) }
            }
        }
    }

    func yield(_ element: Element) {
        for continuation in lock.withLock({ Array(streams.values) }) {
            continuation.yield(element)
        }
    }

    private func close(_ id: UInt64) {
        switching.withLock {
            let last = lock.withLock { streams.removeValue(forKey: id) != nil && streams.isEmpty }
            if last { listen(false) }
        }
    }
}

/// Resumes a continuation once, whichever of its answers comes first.
final class Once<Value: Sendable>: @unchecked Sendable {
    private let lock = NSLock()
    private var continuation: CheckedContinuation<Value, Never>?

    init(_ continuation: CheckedContinuation<Value, Never>) {
        self.continuation = continuation
    }

    func resume(returning value: Value) {
        lock.withLock { () -> CheckedContinuation<Value, Never>? in
            defer { continuation = nil }
            return continuation
        }?.resume(returning: value)
    }
}
