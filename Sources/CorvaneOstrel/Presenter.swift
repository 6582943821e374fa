/// What a host that draws for itself implements: it draws each surface the library shows, removes
/// those that go away, and performs the navigations the library decides. Called on the main actor.
@MainActor
public protocol Presenter: AnyObject {
    /// A surface appeared or changed: draw it (a changed one keeps its node ids).
    func show(_ surface: Surface)
    /// The surface of this id went away.
    func dismiss(surface: UInt64)
    /// Perform it, then report the page then shown with `CorvaneOt.pageShown(_:)`.
    func navigate(_ navigation: Navigation)
}
