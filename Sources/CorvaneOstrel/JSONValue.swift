import Foundation

/// A JSON value as the library reads it: null, booleans, whole and fractional numbers, texts, lists
/// and objects stay distinct.
public enum JSONValue: Sendable, Hashable {
    case null
    case bool(Bool)
    case int(Int64)
    case double(Double)
    case string(String)
    case array([JSONValue])
    case object([String: JSONValue])

    /// The text, when this is one.
    public var stringValue: String? {
        if case .string(let text) = self { return text }
        return nil
    }

    /// The number as a `Double`, whole or fractional.
    public var doubleValue: Double? {
        switch self {
        case .int(let number): return Double(number)
        case .double(let number): return number
        default: return nil
        }
    }

    /// The number as an `Int`, when it is whole.
    public var intValue: Int? {
        switch self {
        case .int(let number): return Int(exactly: number)
        case .double(let number): return Int(exactly: number)
        default: return nil
        }
    }

    public var boolValue: Bool? {
        if case .bool(let flag) = self { return flag }
        return nil
    }

    public subscript(key: String) -> JSONValue? {
        if case .object(let members) = self { return members[key] }
        return nil
    }
}

extension JSONValue: Codable {
    public init(from decoder: any Decoder) throws {
        let container = try decoder.singleValueContainer()
        if container.decodeNil() {
            self = .null
        } else if let flag = try? container.decode(Bool.self) {
            self = .bool(flag)
        } else if let whole = try? container.decode(Int64.self) {
            self = .int(whole)
        } else if let number = try? container.decode(Double.self) {
            self = .double(number)
        } else if let text = try? container.decode(String.self) {
            self = .string(text)
        } else if let list = try? container.decode([JSONValue].self) {
            self = .array(list)
        } else {
            self = .object(try container.decode([String: JSONValue].self))
        }
    }

    public func encode(to encoder: any Encoder) throws {
        var container = encoder.singleValueContainer()
        switch self {
        case .null: try container.encodeNil()
        case .bool(let flag): try container.encode(flag)
        case .int(let number): try container.encode(number)
        case .double(let number): try container.encode(number)
        case .string(let text): try container.encode(text)
        case .array(let list): try container.encode(list)
        case .object(let members): try container.encode(members)
        }
    }
}

extension JSONValue: ExpressibleByNilLiteral, ExpressibleByBooleanLiteral, ExpressibleByIntegerLiteral,
    ExpressibleByFloatLiteral, ExpressibleByStringLiteral, ExpressibleByArrayLiteral,
    ExpressibleByDictionaryLiteral
{
    public init(nilLiteral: ()) { self = .null }
    public init(booleanLiteral value: Bool) { self = .bool(value) }
    public init(integerLiteral value: Int64) { self = .int(value) }
    public init(floatLiteral value: Double) { self = .double(value) }
    public init(stringLiteral value: String) { self = .string(value) }
    public init(arrayLiteral elements: JSONValue...) { self = .array(elements) }
    public init(dictionaryLiteral elements: (String, JSONValue)...) {
        self = .object(Dictionary(elements, uniquingKeysWith: { _, last in last }))
    }
}

/// JSON text in and out of the C interface; the package's benchmark times it.
package enum JSONText {
    /// The UTF-8 JSON text of `value`; a number that is not finite is a bad argument, never a trap.
    package static func encode(_ value: some Encodable) throws(CorvaneOtError) -> String {
        do {
            let data = try JSONEncoder().encode(value)
            return String(decoding: data, as: UTF8.self)
        } catch {
            throw CorvaneOtError.invalidArgument
        }
    }

    /// `text` decoded as `type`, or nil when it is not one.
    package static func decode<Value: Decodable>(_ type: Value.Type, from text: UnsafePointer<CChar>?) -> Value? {
        guard let text else { return nil }
        return try? JSONDecoder().decode(type, from: Data(String(cString: text).utf8))
    }
}
