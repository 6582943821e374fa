// swift-tools-version:6.0
// CorvaneOstrel for Swift: the C library, found through pkg-config ("corvane-ostrel"), behind a
// Swift front door. scripts/swift.sh builds the library and points pkg-config at it.
import PackageDescription

let package = Package(
    name: "CorvaneOstrel",
    products: [
        .library(name: "CorvaneOstrel", targets: ["CorvaneOstrel"])
    ],
    targets: [
        .systemLibrary(name: "CCorvaneOstrel", pkgConfig: "corvane-ostrel"),
        .target(name: "CorvaneOstrel", dependencies: ["CCorvaneOstrel"]),
        .testTarget(name: "CorvaneOstrelTests", dependencies: ["CorvaneOstrel"]),
    ]
)
