import Foundation

/// Something the library shows for a host that draws for itself: a dialog, the page tagging ball
/// or a banner the host loaded. Its nodes keep their ids while they live, so a host can update its
/// views in place.
public struct Surface: Codable, Sendable, Hashable, Identifiable {
    public enum Kind: String, Codable, Sendable {
        case dialog
        /// The page tagging ball, over everything.
        case overlay
        case banner
    }

    public let id: UInt64
    public let kind: Kind
    /// The banner's location, for a banner.
    public let locationId: String?
    public let screen: Size
    /// The tree to draw; a dialog's covers the screen.
    public let root: Node

    enum CodingKeys: String, CodingKey {
        case id = "surface"
        case kind, locationId, screen, root
    }
}

/// A point, in the parent's coordinates.
public struct Point: Codable, Sendable, Hashable {
    public var x: Double
    public var y: Double

    public init(x: Double, y: Double) {
        self.x = x
        self.y = y
    }
}

/// A size in points.
public struct Size: Codable, Sendable, Hashable {
    public var width: Double
    public var height: Double

    public init(width: Double, height: Double) {
        self.width = width
        self.height = height
    }
}

/// A rectangle in points, in the parent's coordinates.
public struct Frame: Codable, Sendable, Hashable {
    public var x: Double
    public var y: Double
    public var width: Double
    public var height: Double

    public init(x: Double, y: Double, width: Double, height: Double) {
        self.x = x
        self.y = y
        self.width = width
        self.height = height
    }
}

/// One element of a surface. Children come in drawing order, the last on top.
public struct Node: Codable, Sendable, Hashable, Identifiable {
    public enum Role: String, Codable, Sendable {
        case view, label, button, image, scroll, web, video, collection, table, tableCell, collectionCell, textField
    }

    public enum TextAlignment: String, Codable, Sendable {
        case left, center, right
    }

    public enum ContentMode: String, Codable, Sendable {
        case scaleToFill, aspectFit, aspectFill
    }

    public struct Border: Codable, Sendable, Hashable {
        public var width: Double
        public var color: String
    }

    public struct Shadow: Codable, Sendable, Hashable {
        public var color: String
        public var offsetX: Double
        public var offsetY: Double
        public var opacity: Double
    }

    public struct Font: Codable, Sendable, Hashable {
        public var name: String
        public var size: Double
    }

    /// A picture: from an address, or one of the library's own (a file path).
    public struct Image: Codable, Sendable, Hashable {
        public var url: String?
        public var file: String?
        /// Its natural size, once loaded.
        public var width: Double?
        public var height: Double?
        public var contentMode: ContentMode?
    }

    /// What a screen reader says of a node and how it treats it (UIAccessibility's label, traits,
    /// hint and value; `isHidden` where the node decorates).
    public struct Accessibility: Codable, Sendable, Hashable {
        public enum Trait: String, Codable, Sendable {
            case button, image, header, link, staticText, adjustable
        }

        public var label: String?
        public var traits: [Trait]
        public var hint: String?
        /// What an adjustable node shows now ("第 2 页，共 3 页").
        public var value: String?
        /// Skipped by the reader, with everything inside it.
        public var isHidden: Bool

        enum CodingKeys: String, CodingKey {
            case label, traits, hint, value
            case isHidden = "hidden"
        }

        public init(from decoder: any Decoder) throws {
            let c = try decoder.container(keyedBy: CodingKeys.self)
            label = try c.decodeIfPresent(String.self, forKey: .label)
            // A trait this version does not know is left out, not a reason to drop the surface.
            let named = try c.decodeIfPresent([String].self, forKey: .traits) ?? []
            traits = named.compactMap(Trait.init(rawValue:))
            hint = try c.decodeIfPresent(String.self, forKey: .hint)
            value = try c.decodeIfPresent(String.self, forKey: .value)
            isHidden = try c.decodeIfPresent(Bool.self, forKey: .isHidden) ?? false
        }
    }

    public let id: UInt64
    public let role: Role
    public let name: String?
    public let frame: Frame
    /// The area that answers touches, when larger than the frame (a small drawn close control).
    public let touchFrame: Frame?
    /// What a screen reader meets here; nil for a node it passes through (a plain container).
    public let accessibility: Accessibility?
    /// A dialog's root: a screen reader stays inside it (`accessibilityViewIsModal`).
    public let isModal: Bool
    public let children: [Node]
    public let alpha: Double
    public let isHidden: Bool
    /// Colours are "#RRGGBBAA".
    public let backgroundColor: String?
    public let cornerRadius: Double?
    public let clipsToBounds: Bool
    public let border: Border?
    /// Scale about the centre.
    public let scale: Double
    public let shadow: Shadow?
    public let text: String?
    /// What a text field (role `textField`, the tagging tool's alias field) shows while empty.
    public let placeholder: String?
    public let textColor: String?
    public let font: Font?
    public let textAlignment: TextAlignment?
    /// 0 for as many as needed.
    public let numberOfLines: Int?
    public let lineSpacing: Double?
    public let image: Image?
    public let contentSize: Size?
    public let contentOffset: Point?
    public let isScrollEnabled: Bool?
    /// A web page's or video's address.
    public let url: String?
    /// The touches it answers ("touchUpInside", "tap", ...): a host taps nodes that have some.
    public let actions: [String]

    enum CodingKeys: String, CodingKey {
        case id, role, name, frame, children, alpha
        case isHidden = "hidden"
        case backgroundColor, cornerRadius, clipsToBounds, border, scale, shadow, text, placeholder, textColor, font
        case textAlignment, numberOfLines, lineSpacing, image, contentSize, contentOffset
        case isScrollEnabled = "scrollEnabled"
        case url, actions, touchFrame, accessibility
        case isModal = "modal"
    }

    public init(from decoder: any Decoder) throws {
        let c = try decoder.container(keyedBy: CodingKeys.self)
        id = try c.decode(UInt64.self, forKey: .id)
        role = try c.decode(Role.self, forKey: .role)
        name = try c.decodeIfPresent(String.self, forKey: .name)
        frame = try c.decode(Frame.self, forKey: .frame)
        touchFrame = try c.decodeIfPresent(Frame.self, forKey: .touchFrame)
        accessibility = try c.decodeIfPresent(Accessibility.self, forKey: .accessibility)
        isModal = try c.decodeIfPresent(Bool.self, forKey: .isModal) ?? false
        children = try c.decodeIfPresent([Node].self, forKey: .children) ?? []
        alpha = try c.decodeIfPresent(Double.self, forKey: .alpha) ?? 1
        isHidden = try c.decodeIfPresent(Bool.self, forKey: .isHidden) ?? false
        backgroundColor = try c.decodeIfPresent(String.self, forKey: .backgroundColor)
        cornerRadius = try c.decodeIfPresent(Double.self, forKey: .cornerRadius)
        clipsToBounds = try c.decodeIfPresent(Bool.self, forKey: .clipsToBounds) ?? false
        border = try c.decodeIfPresent(Border.self, forKey: .border)
        scale = try c.decodeIfPresent(Double.self, forKey: .scale) ?? 1
        shadow = try c.decodeIfPresent(Shadow.self, forKey: .shadow)
        text = try c.decodeIfPresent(String.self, forKey: .text)
        placeholder = try c.decodeIfPresent(String.self, forKey: .placeholder)
        textColor = try c.decodeIfPresent(String.self, forKey: .textColor)
        font = try c.decodeIfPresent(Font.self, forKey: .font)
        textAlignment = try c.decodeIfPresent(TextAlignment.self, forKey: .textAlignment)
        numberOfLines = try c.decodeIfPresent(Int.self, forKey: .numberOfLines)
        lineSpacing = try c.decodeIfPresent(Double.self, forKey: .lineSpacing)
        image = try c.decodeIfPresent(Image.self, forKey: .image)
        contentSize = try c.decodeIfPresent(Size.self, forKey: .contentSize)
        contentOffset = try c.decodeIfPresent(Point.self, forKey: .contentOffset)
        isScrollEnabled = try c.decodeIfPresent(Bool.self, forKey: .isScrollEnabled)
        url = try c.decodeIfPresent(String.self, forKey: .url)
        actions = try c.decodeIfPresent([String].self, forKey: .actions) ?? []
    }

    /// The first node of this tree, depth first, that `matches`.
    public func first(where matches: (Node) -> Bool) -> Node? {
        if matches(self) { return self }
        for child in children {
            if let found = child.first(where: matches) { return found }
        }
        return nil
    }

    /// The first node named `name`, depth first.
    public func first(named name: String) -> Node? {
        first { $0.name == name }
    }
}

/// A banner the host loaded into a container: the surface that shows it (until released) and
/// the banner's own size, zero before the first banner download.
public struct BannerSurface: Sendable, Hashable {
    public let surface: UInt64
    public let size: Size
}
