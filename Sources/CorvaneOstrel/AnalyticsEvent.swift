import Foundation

/// One event the app's analytics SDK recorded, as the library is handed it.
public struct AnalyticsEvent: Sendable, Hashable {
    /// The analytics SDK the event comes from; each names and shapes its events its own way.
    public enum Source: Int, Sendable {
        /// The maker's own SDK, `CorvaneSDK`: "$pageview", "$app_click", custom names.
        case corvane = 0
        /// Sensors Analytics: "$AppViewScreen", "$AppClick", "$AppStart", custom names.
        case sensorsAnalytics = 1
    }

    /// The event's name.
    public var xwhat: String
    /// The user's id.
    public var xwho: String?
    public var source: Source
    /// When it happened; the library takes its own clock when absent.
    public var xwhen: Date?
    /// The event's properties (for a page view, "$url" names the page).
    public var properties: [String: JSONValue]

    public init(
        xwhat: String, xwho: String? = nil, source: Source = .corvane, xwhen: Date? = nil,
        properties: [String: JSONValue] = [:]
    ) {
        self.xwhat = xwhat
        self.xwho = xwho
        self.source = source
        self.xwhen = xwhen
        self.properties = properties
    }

    /// A page view of the page whose class is `page`.
    public static func pageView(_ page: String, xwho: String? = nil) -> AnalyticsEvent {
        AnalyticsEvent(xwhat: "$pageview", xwho: xwho, properties: ["$url": .string(page)])
    }

    /// The dictionary the SDK of `source` delivers.
    package var json: JSONValue {
        var fields: [String: JSONValue] = ["source": .int(Int64(source.rawValue))]
        let milliseconds = xwhen.map { JSONValue.int(Int64(($0.timeIntervalSince1970 * 1000).rounded())) }
        switch source {
        case .corvane:
            fields["xwhat"] = .string(xwhat)
            fields["xcontext"] = .object(properties)
            if let xwho { fields["xwho"] = .string(xwho) }
            if let milliseconds { fields["xwhen"] = milliseconds }
        case .sensorsAnalytics:
            fields["type"] = xwhat == "$profile_set" ? "profile_set" : "track"
            fields["event"] = .string(xwhat)
            fields["properties"] = .object(properties)
            if let xwho { fields["distinct_id"] = .string(xwho) }
            if let milliseconds { fields["time"] = milliseconds }
        }
        return .object(fields)
    }
}

/// The user as the analytics SDK describes them.
public struct UserProfile: Sendable, Hashable {
    /// The user's id: a change of user starts their records afresh.
    public var xwho: String
    /// The server's clock minus the device's, in milliseconds.
    public var calibrationTime: Int64
    /// Any further profile values.
    public var properties: [String: JSONValue]

    public init(xwho: String, calibrationTime: Int64 = 0, properties: [String: JSONValue] = [:]) {
        self.xwho = xwho
        self.calibrationTime = calibrationTime
        self.properties = properties
    }

    var json: JSONValue {
        var fields = properties
        fields["xwho"] = .string(xwho)
        fields["calibration_time"] = .int(calibrationTime)
        return .object(fields)
    }
}
