import Foundation

/// How the library is started: the app's key and identity, the server, and what it may do.
public struct Configuration: Sendable {
    /// The server the library talks to.
    public enum Server: Sendable, Hashable {
        case distribution
        case test
        case development
        case demo
        /// A server of the app's own (the dev server, say), in place of all four.
        case custom(URL)
    }

    /// Which push service hands the app its push address.
    public enum PushProvider: Int, Sendable {
        case apple = 0
        case jPush = 1
    }

    /// What reaches the console; the log file gets everything whatever the level.
    public enum LogLevel: Int, Sendable {
        case none = 0
        case allButData = 1
        case log = 3
        case warnings = 4
        case errors = 5
        case all = 6
    }

    /// The key the server knows the app by.
    public var appKey: String
    /// The app group whose shared store keeps the per-user settings (shared with the app's
    /// extensions).
    public var appGroup: String
    public var server: Server
    /// The class name of the app's main page: campaigns of the first page view wait for it.
    public var mainPage: String?
    /// False: the library does not register for remote notifications.
    public var pushEnabled: Bool
    /// False: events are not matched against banner campaigns.
    public var bannersEnabled: Bool
    public var pushProvider: PushProvider
    /// Nil keeps the library's own level.
    public var logLevel: LogLevel?
    /// What carries the library's requests: `URLSessionTransport` unless given, the app's own
    /// HTTP stack as on an Apple platform; nil leaves them to the library's libcurl.
    public var transport: (any HTTPTransport)?

    public init(
        appKey: String, appGroup: String, server: Server = .distribution, mainPage: String? = nil,
        pushEnabled: Bool = true, bannersEnabled: Bool = true, pushProvider: PushProvider = .apple,
        logLevel: LogLevel? = nil, transport: (any HTTPTransport)? = URLSessionTransport()
    ) {
        self.appKey = appKey
        self.appGroup = appGroup
        self.server = server
        self.mainPage = mainPage
        self.pushEnabled = pushEnabled
        self.bannersEnabled = bannersEnabled
        self.pushProvider = pushProvider
        self.logLevel = logLevel
        self.transport = transport
    }

    /// The configuration as the C interface reads it.
    var json: JSONValue {
        var fields: [String: JSONValue] = [
            "appKey": .string(appKey),
            "applicationGroupIdentifier": .string(appGroup),
            "pushClosed": .bool(!pushEnabled),
            "bannerClosed": .bool(!bannersEnabled),
            "pushProvider": .int(Int64(pushProvider.rawValue)),
        ]
        switch server {
        case .distribution: fields["envType"] = 0
        case .test: fields["envType"] = 1
        case .development: fields["envType"] = 2
        case .demo: fields["envType"] = 3
        case .custom(let url): fields["url"] = .string(url.absoluteString)
        }
        if let mainPage { fields["mainPage"] = .string(mainPage) }
        if let logLevel { fields["logLevelType"] = .int(Int64(logLevel.rawValue)) }
        return .object(fields)
    }
}
