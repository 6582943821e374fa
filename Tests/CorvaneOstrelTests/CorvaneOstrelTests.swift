import Foundation
import XCTest

@testable import CorvaneOstrel

final class CorvaneOstrelTests: XCTestCase {
    override func setUp() async throws {
        try await Session.start()
    }

    /// An event shows the picture dialog as typed nodes; a tap on its picture closes it and hands
    /// over the campaign's page; the decision says why.
    @MainActor
    func testAnEventShowsATypedDialogAndItsTapNavigates() async throws {
        let changes = Session.presenter.watch()
        let decisions = CorvaneOt.decisions
        try Session.observer.event(AnalyticsEvent(xwhat: "view_product", xwho: "u1", properties: ["price": 150]))

        // Drawn once its picture is in, with the close button over it.
        let drawn = await first(of: changes) { change in
            guard case .shown(let surface) = change else { return false }
            return surface.root.first(named: "closeBtn") != nil && surface.root.first(named: "imgView")?.image?.width != nil
        }
        guard case .shown(let dialog) = drawn else { return XCTFail("no dialog shown") }
        XCTAssertEqual(dialog.kind, .dialog)
        XCTAssertEqual(dialog.root.name, "OTPopWindow")
        XCTAssertEqual(dialog.root.frame, Frame(x: 0, y: 0, width: dialog.screen.width, height: dialog.screen.height))
        let picture = try XCTUnwrap(dialog.root.first(named: "imgView"))
        XCTAssertEqual(picture.role, .image)
        XCTAssertEqual(picture.image?.url, Session.server.baseURL.appendingPathComponent("media/spring-sale.png").absoluteString)
        XCTAssertEqual(picture.image?.width, 600)
        XCTAssertEqual(picture.actions, ["tap"])
        XCTAssertEqual(dialog.root.first(named: "closeBtn")?.role, .button)
        // What a screen reader meets: a modal dialog, a picture that is a button, a named close
        // control with a touch area of 44 points.
        XCTAssertTrue(dialog.root.isModal)
        XCTAssertEqual(picture.accessibility?.traits, [.image, .button])
        XCTAssertFalse(picture.accessibility?.label?.isEmpty ?? true)
        let close = try XCTUnwrap(dialog.root.first(named: "closeBtn"))
        // In the device language, which here is this machine's locale.
        XCTAssertTrue(["关闭", "Close"].contains(close.accessibility?.label ?? ""))
        XCTAssertEqual(close.touchFrame?.width, 44)
        XCTAssertEqual(dialog.root.first(named: "backgroundView")?.accessibility?.isHidden, true)

        let decision = await first(of: decisions) { $0.xwhat == "view_product" }
        let verdict = try XCTUnwrap(decision?.campaigns.first { $0.verdict == .shown })
        XCTAssertEqual(verdict.kind, .inApp)
        XCTAssertEqual(decision?.source, .corvane)

        let afterTap = Session.presenter.watch()
        try CorvaneOt.tap(picture)
        guard case .navigated(let navigation) = await first(of: afterTap, where: { if case .navigated = $0 { true } else { false } })
        else { return XCTFail("no navigation") }
        XCTAssertEqual(navigation.kind, .page)
        XCTAssertEqual(navigation.page, "DetailVC")
        XCTAssertEqual(navigation.properties, ["id": "42", "name": "spring"])
        XCTAssertEqual(navigation.presentation, .push)
        XCTAssertEqual(navigation.source, .campaign)
        XCTAssertNil(Session.presenter.surfaces[dialog.id], "dismissed before the page opened")
        XCTAssertThrowsError(try CorvaneOt.tap(picture)) { XCTAssertEqual($0 as? CorvaneOtError, .notFound) }
        XCTAssertTrue(Session.presenter.onMainThread)
        XCTAssertGreaterThan(Session.console.count, 0, "the console lines reached the handler")
    }

    /// The location's banners come typed; their pictures come from the library's copies without a
    /// second download; a loaded banner is a surface until released.
    @MainActor
    func testBannersAndPicturesComeFromTheLibrarysCopies() async throws {
        let banners = await CorvaneOt.banners(at: "home_top")
        let banner = try XCTUnwrap(banners.first)
        XCTAssertEqual(banner.id, "301")
        XCTAssertEqual(banner.locationId, "home_top")
        XCTAssertEqual(banner.style, 2)
        XCTAssertEqual(banner.text, "领券成功！新人专享 50 元礼包已到账")
        let coupon = try XCTUnwrap(banner.pictures.first)
        XCTAssertEqual(coupon.clickEvent, "DetailVC?id=7")
        let nowhere = await CorvaneOt.banners(at: "nowhere")
        XCTAssertTrue(nowhere.isEmpty, "\(nowhere)")

        try await Session.server.waitFor("/media/coupon.png")
        let fetched = try await Session.server.requests().filter { $0.path == "/media/coupon.png" }.count
        let picture = await CorvaneOt.picture(at: coupon.url)
        let bytes = try XCTUnwrap(picture)
        XCTAssertEqual(Array(bytes.prefix(8)), [0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A])
        let missing = await CorvaneOt.picture(at: Session.server.baseURL.appendingPathComponent("media/none.png").absoluteString)
        XCTAssertNil(missing)
        let fetchedAfter = try await Session.server.requests().filter { $0.path == "/media/coupon.png" }.count
        XCTAssertEqual(fetchedAfter, fetched)

        let changes = Session.presenter.watch()
        let loaded = try CorvaneOt.loadBanner(at: "home_top", size: Size(width: 390, height: 120))
        XCTAssertGreaterThan(loaded.size.width, 0)
        XCTAssertEqual(try CorvaneOt.bannerSize(at: "home_top"), loaded.size)
        guard case .shown(let surface) = await first(of: changes, where: { if case .shown = $0 { true } else { false } })
        else { return XCTFail("the banner was not shown") }
        XCTAssertEqual(surface.id, loaded.surface)
        XCTAssertEqual(surface.kind, .banner)
        XCTAssertEqual(surface.locationId, "home_top")
        XCTAssertEqual(surface.root.frame, Frame(x: 0, y: 0, width: 390, height: 120))
        try CorvaneOt.release(loaded)
        XCTAssertNil(Session.presenter.surfaces[loaded.surface])
        XCTAssertThrowsError(try CorvaneOt.release(loaded)) { XCTAssertEqual($0 as? CorvaneOtError, .notFound) }
    }

    /// Bad input is a thrown error of its kind and changes nothing; the observer serves any thread.
    @MainActor
    func testBadInputIsAThrownErrorNeverATrap() async throws {
        func error(_ call: () throws -> Void) -> CorvaneOtError? {
            do {
                try call()
                return nil
            } catch {
                return error as? CorvaneOtError
            }
        }
        XCTAssertEqual(error { _ = try CorvaneOt.observer(appGroup: "") }, .invalidArgument)
        XCTAssertEqual(error { try Session.observer.event(AnalyticsEvent(xwhat: "x", properties: ["v": .double(.nan)])) }, .invalidArgument)
        XCTAssertEqual(error { try Session.observer.profile("age", .double(.infinity)) }, .invalidArgument)
        XCTAssertEqual(error { try CorvaneOt.registerPage("") }, .invalidArgument)
        XCTAssertEqual(error { try CorvaneOt.pageShown("") }, .invalidArgument)
        XCTAssertEqual(error { _ = try CorvaneOt.loadBanner(at: "home_top", size: Size(width: -1, height: 10)) }, .invalidArgument)
        XCTAssertEqual(error { _ = try CorvaneOt.loadBanner(at: "home_top", size: Size(width: .nan, height: 10)) }, .invalidArgument)
        XCTAssertEqual(error { try CorvaneOt.release(BannerSurface(surface: 987_654, size: Size(width: 0, height: 0))) }, .notFound)
        let stranger = try JSONDecoder().decode(
            Node.self, from: Data(#"{"id":987654,"role":"button","frame":{"x":0,"y":0,"width":1,"height":1}}"#.utf8))
        XCTAssertEqual(error { try CorvaneOt.tap(stranger) }, .notFound)
        XCTAssertEqual(error { try CorvaneOt.scroll(stranger, to: Point(x: 0, y: 10)) }, .notFound)
        XCTAssertEqual(error { try CorvaneOt.trackPush(.delivered, payload: ["n": .double(.nan)], appGroup: Session.appGroup) }, .invalidArgument)
        // Events from another thread are handed over as from the main one.
        let observer = Session.observer!
        try await Task.detached { try observer.event(.pageView("HomeVC", xwho: "u1")) }.value
    }
}
