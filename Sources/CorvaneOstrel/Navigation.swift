import Foundation

/// A navigation the library decided (a campaign's button or banner, an opened notification), for
/// the host to perform; the host then reports the page it shows with `CorvaneOt.pageShown(_:)`.
public struct Navigation: Codable, Sendable, Hashable {
    public enum Kind: String, Codable, Sendable {
        /// A page of the host's, by class name.
        case page
        /// The tab rooted at a page's class.
        case tab
        /// An http or https address, shown inside the app.
        case web
        /// Another scheme, opened by the system outside the app.
        case url
    }

    public enum Presentation: String, Codable, Sendable {
        case push, present
    }

    public enum Source: String, Codable, Sendable {
        case campaign, notification
    }

    public let kind: Kind
    public let page: String?
    /// The page's declared properties the link set.
    public let properties: [String: String]
    public let presentation: Presentation?
    public let tab: Int?
    public let url: String?
    public let source: Source

    enum CodingKeys: String, CodingKey {
        case kind, page, properties, presentation, tab, url, source
    }

    public init(from decoder: any Decoder) throws {
        let c = try decoder.container(keyedBy: CodingKeys.self)
        kind = try c.decode(Kind.self, forKey: .kind)
        page = try c.decodeIfPresent(String.self, forKey: .page)
        properties = try c.decodeIfPresent([String: String].self, forKey: .properties) ?? [:]
        presentation = try c.decodeIfPresent(Presentation.self, forKey: .presentation)
        tab = try c.decodeIfPresent(Int.self, forKey: .tab)
        url = try c.decodeIfPresent(String.self, forKey: .url)
        source = try c.decode(Source.self, forKey: .source)
    }
}
