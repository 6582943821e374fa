import Foundation

/// One of the server's banner campaigns for a location.
public struct Banner: Codable, Sendable, Hashable, Identifiable {
    /// A picture or video of the banner, with the link a tap on it follows.
    public struct Media: Codable, Sendable, Hashable {
        public let url: String
        public let clickEvent: String?
    }

    public let id: String
    /// 1 to 5: how the location shows it (text, picture, pictures, video, carousel).
    public let style: Int?
    public let locationId: String
    /// "yyyy-MM-dd HH:mm:ss", in the device's zone.
    public let startTime: String?
    public let endTime: String?
    /// The link a tap on the banner follows.
    public let clickEvent: String?
    public let text: String?
    public let pictures: [Media]
    public let videos: [Media]
    /// The whole object as the server sent it.
    public let json: JSONValue

    public init(from decoder: any Decoder) throws {
        let json = try JSONValue(from: decoder)
        guard case .object(let fields) = json else {
            throw DecodingError.dataCorrupted(.init(codingPath: decoder.codingPath, debugDescription: "not an object"))
        }
        self.json = json
        // The server writes ids as texts or numbers alike.
        id = fields["id"]?.stringValue ?? fields["id"]?.intValue.map(String.init) ?? ""
        style = fields["style"]?.intValue
        locationId = fields["locationId"]?.stringValue ?? ""
        startTime = fields["startTime"]?.stringValue
        endTime = fields["endTime"]?.stringValue
        clickEvent = fields["clickEvent"]?.stringValue
        text = fields["content"]?["text"]?.stringValue
        pictures = Banner.media(fields["resource"]?["picture"])
        videos = Banner.media(fields["resource"]?["video"])
    }

    public func encode(to encoder: any Encoder) throws {
        try json.encode(to: encoder)
    }

    private static func media(_ list: JSONValue?) -> [Media] {
        guard case .array(let items) = list else { return [] }
        return items.compactMap { item in
            guard let url = item["url"]?.stringValue else { return nil }
            return Media(url: url.trimmingCharacters(in: .whitespaces), clickEvent: item["clickEvent"]?.stringValue)
        }
    }
}
