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
        // What the Swift layer adds to the library, per event and per surface (run it in release).
        .executableTarget(name: "corvane-swift-bench", dependencies: ["CorvaneOstrel", "CCorvaneOstrel"]),
        .testTarget(name: "CorvaneOstrelTests", dependencies: ["CorvaneOstrel"]),
    ]
)
