import CCorvaneOstrel

/// Why the library refused a call. Bad input is refused with one of these and otherwise changes
/// nothing; the library itself never traps.
public enum CorvaneOtError: Error, Sendable, Hashable {
    /// Something that must be given was missing.
    case nullArgument
    /// A JSON text did not parse, or nested deeper than the library takes.
    case invalidJSON
    /// A value of the wrong kind: a number that is not finite, a negative size, an empty name.
    case invalidArgument
    /// The library failed inside; its console says why.
    case internalFailure
    /// The node, banner or request named is not there (any more).
    case notFound
    /// A call that belongs to the library's main thread came from another.
    case wrongThread

    /// The error a C status stands for; nil for success.
    init?(status: corvane_status) {
        switch status {
        case CORVANE_OK: return nil
        case CORVANE_ERROR_NULL_ARGUMENT: self = .nullArgument
        case CORVANE_ERROR_INVALID_JSON: self = .invalidJSON
        case CORVANE_ERROR_INVALID_ARGUMENT: self = .invalidArgument
        case CORVANE_ERROR_NOT_FOUND: self = .notFound
        case CORVANE_ERROR_WRONG_THREAD: self = .wrongThread
        default: self = .internalFailure
        }
    }

    /// Throws the error `status` stands for.
    static func check(_ status: corvane_status) throws(CorvaneOtError) {
        if let error = CorvaneOtError(status: status) { throw error }
    }
}
