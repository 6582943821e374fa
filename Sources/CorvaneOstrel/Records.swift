import Foundation

/// Why campaigns did or did not show for one pass of an event over them.
public struct DecisionRecord: Sendable, Hashable {
    public enum Verdict: Sendable, Hashable {
        case shown
        /// Decided, but never presented: nothing draws.
        case scheduled
        /// A step of a sequence was taken; the pass ends.
        case advanced
        case notMatched
        case notEligible
        case heldBack
        /// After the campaign that ended the pass.
        case notExamined
        case sentToServer
        case waiting
        case dropped
        case activated
        case notActivated
        case other(String)

        init(_ name: String) {
            switch name {
            case "shown": self = .shown
            case "scheduled": self = .scheduled
            case "advanced": self = .advanced
            case "notMatched": self = .notMatched
            case "notEligible": self = .notEligible
            case "heldBack": self = .heldBack
            case "notExamined": self = .notExamined
            case "sentToServer": self = .sentToServer
            case "waiting": self = .waiting
            case "dropped": self = .dropped
            case "activated": self = .activated
            case "notActivated": self = .notActivated
            default: self = .other(name)
            }
        }
    }

    /// The first reason a campaign was not shown, with the values that decided it.
    public enum Reason: Sendable, Hashable {
        case eventName(expected: String?, actual: String?)
        case propertyRule(
            relation: String?, field: String?, operator: String?, dataType: String?, expected: JSONValue?,
            actual: JSONValue?)
        case sequenceStep(step: Int?, of: Int?, expected: String?)
        /// The first page view's rules; `values` holds "url", "expected", "mainPage", "visiblePage",
        /// "mainPageViews" and "kept" as the case needs them.
        case firstPageView(case: String?, values: [String: JSONValue])
        case dailyCap(count: Int?, max: Int?)
        case usedUp(used: Int?, count: Int?)
        case dateWindow(start: String?, end: String?, today: String?)
        case shownBefore
        case pause(rule: JSONValue?, until: String?)
        case reactionCount(rule: JSONValue?, count: Int?, max: Int?)
        case noRuleForReaction(lastEventType: Int?)
        case dialogOnScreen(id: String?)
        /// A dialog decided and waiting for its delay, which counts as on screen.
        case dialogScheduled(id: String?)
        case dialogsHidden
        case bannersClosed
        case noRecord
        case noCampaignsYet(waiting: Int?, max: Int?, discarded: JSONValue?)
        case passEnded(endedBy: String?, because: String?)
        /// A reason this version of the Swift layer does not know, with all its values.
        case other(String, values: [String: JSONValue])

        init?(_ fields: [String: JSONValue]) {
            guard let name = fields["reason"]?.stringValue else { return nil }
            let text = { (key: String) in fields[key]?.stringValue }
            let number = { (key: String) in fields[key]?.intValue }
            switch name {
            case "eventName": self = .eventName(expected: text("expected"), actual: text("actual"))
            case "propertyRule":
                self = .propertyRule(
                    relation: text("relation"), field: text("field"), operator: text("operator"),
                    dataType: text("dataType"), expected: fields["expected"], actual: fields["actual"])
            case "sequenceStep": self = .sequenceStep(step: number("step"), of: number("of"), expected: text("expected"))
            case "firstPageView":
                self = .firstPageView(case: text("case"), values: fields.filter { !Reason.recordKeys.contains($0.key) })
            case "dailyCap": self = .dailyCap(count: number("count"), max: number("max"))
            case "usedUp": self = .usedUp(used: number("used"), count: number("count"))
            case "dateWindow": self = .dateWindow(start: text("start"), end: text("end"), today: text("today"))
            case "shownBefore": self = .shownBefore
            case "pause": self = .pause(rule: fields["rule"], until: text("until"))
            case "reactionCount": self = .reactionCount(rule: fields["rule"], count: number("count"), max: number("max"))
            case "noRuleForReaction": self = .noRuleForReaction(lastEventType: number("lastEventType"))
            case "dialogOnScreen": self = .dialogOnScreen(id: text("id") ?? number("id").map(String.init))
            case "dialogScheduled": self = .dialogScheduled(id: text("id") ?? number("id").map(String.init))
            case "dialogsHidden": self = .dialogsHidden
            case "bannersClosed": self = .bannersClosed
            case "noRecord": self = .noRecord
            case "noCampaignsYet":
                self = .noCampaignsYet(waiting: number("waiting"), max: number("max"), discarded: fields["discarded"])
            case "passEnded": self = .passEnded(endedBy: text("endedBy"), because: text("because"))
            default: self = .other(name, values: fields.filter { !Reason.recordKeys.contains($0.key) })
            }
        }

        // The keys of a campaign's or pass's record that are not the reason's values.
        static let recordKeys: Set<String> = ["reason", "verdict", "kind", "event", "pass", "startIndex", "campaigns",
                                               "omitted"]
    }

    /// One campaign's verdict.
    public struct Campaign: Sendable, Hashable {
        public enum Kind: String, Sendable {
            case inApp, subscribe, banner
        }

        public let id: String
        public let kind: Kind?
        public let verdict: Verdict
        public let reason: Reason?
    }

    /// How the event came to be matched.
    public enum Pass: String, Sendable {
        case event, waitingEvent, mainPageReplay, afterReaction
    }

    /// The event's name.
    public let xwhat: String?
    /// Nil for a replay.
    public let source: AnalyticsEvent.Source?
    public let pass: Pass?
    public let startIndex: Int?
    public let campaigns: [Campaign]
    /// The pass's own verdict and reason, when no campaign was examined or the walks were held back.
    public let verdict: Verdict?
    public let reason: Reason?
    /// The whole record as the library made it.
    public let json: JSONValue

    init?(json: JSONValue) {
        guard case .object(let fields) = json else { return nil }
        self.json = json
        xwhat = fields["event"]?["xwhat"]?.stringValue
        source = fields["event"]?["source"]?.intValue.flatMap(AnalyticsEvent.Source.init(rawValue:))
        pass = fields["pass"]?.stringValue.flatMap(Pass.init(rawValue:))
        startIndex = fields["startIndex"]?.intValue
        verdict = fields["verdict"]?.stringValue.map(Verdict.init)
        reason = Reason(fields)
        guard case .array(let list) = fields["campaigns"] ?? .array([]) else { return nil }
        campaigns = list.compactMap { entry in
            guard case .object(let campaign) = entry else { return nil }
            return Campaign(
                id: campaign["id"]?.stringValue ?? campaign["id"]?.intValue.map(String.init) ?? "",
                kind: campaign["kind"]?.stringValue.flatMap(Campaign.Kind.init(rawValue:)),
                verdict: Verdict(campaign["verdict"]?.stringValue ?? ""), reason: Reason(campaign))
        }
    }
}

/// What became of an impression, click, close or push report.
public struct ReportRecord: Sendable, Hashable {
    public enum Fate: String, Sendable {
        /// Made and sent.
        case made
        /// The server took it.
        case sent
        /// The server answered no: it is dropped, or repeated after logging in again.
        case refused
        /// Lost in transport.
        case failed
        /// Lost in transport and kept in the queue file (`written` false when it could not be).
        case queued
        /// The oldest, dropped from a full queue (`reports`).
        case dropped
        /// A queue file read back to be sent again (`count`).
        case loaded
    }

    public enum Queue: String, Sendable {
        /// Dialog reports.
        case window
        case push
    }

    public let fate: Fate
    public let queue: Queue?
    /// The dictionary the server receives.
    public let report: JSONValue?
    public let written: Bool?
    public let reports: [JSONValue]
    public let count: Int?

    init?(json: JSONValue) {
        guard let fate = json["fate"]?.stringValue.flatMap(Fate.init(rawValue:)) else { return nil }
        self.fate = fate
        queue = json["queue"]?.stringValue.flatMap(Queue.init(rawValue:))
        report = json["report"]
        written = json["written"]?.boolValue
        if case .array(let list) = json["reports"] { reports = list } else { reports = [] }
        count = json["count"]?.intValue
    }
}

/// A line the library printed to its console.
public struct LogLine: Sendable, Hashable {
    public enum Level: Int, Sendable {
        /// The direct prints of matching and downloads, which no log level filters.
        case print = -1
        case debug = 0
        case log = 3
        case warning = 4
        case error = 5
        case data = 6
    }

    public let level: Level
    public let message: String
}
