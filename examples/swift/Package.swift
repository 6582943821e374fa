// swift-tools-version:6.0
// A command-line host app in Swift over the CorvaneOstrel package.
import PackageDescription

let package = Package(
    name: "SwiftHost",
    dependencies: [.package(name: "CorvaneOstrel", path: "../..")],
    targets: [
        .executableTarget(
            name: "swift-host", dependencies: [.product(name: "CorvaneOstrel", package: "CorvaneOstrel")])
    ]
)
