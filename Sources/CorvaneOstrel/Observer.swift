import CCorvaneOstrel

/// The library as the app's analytics SDK sees it: hand it every event and profile change. Safe to
/// use from any thread; each call returns at once and the library handles the event on its own
/// queue.
public final class Observer: Sendable {
    // The handle is only ever read; the engine behind it serves any thread.
    private nonisolated(unsafe) let handle: OpaquePointer

    init(handle: OpaquePointer) {
        self.handle = handle
    }

    deinit {
        corvane_observer_release(handle)
    }

    public func event(_ event: AnalyticsEvent) throws(CorvaneOtError) {
        let text = try JSONText.encode(event.json)
        try CorvaneOtError.check(corvane_observer_event(handle, text))
    }

    public func profile(_ profile: UserProfile) throws(CorvaneOtError) {
        let text = try JSONText.encode(profile.json)
        try CorvaneOtError.check(corvane_observer_profile(handle, text))
    }

    /// One value of the profile ("xwho" changes the user).
    public func profile(_ key: String, _ value: JSONValue) throws(CorvaneOtError) {
        let text = try JSONText.encode(value)
        try CorvaneOtError.check(corvane_observer_profile_value(handle, key, text))
    }
}
