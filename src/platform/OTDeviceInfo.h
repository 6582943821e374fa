#pragma once

#include <string>

#include "foundation/OTGeometry.h"

namespace corvane {

// Facts about the device and the host app that the platform would report.
struct OTDeviceInfo {
    std::string systemName = "iOS";
    std::string systemVersion = "17.5";
    std::string machine = "iPhone15,2";  // uname's machine field
    std::string bundleIdentifier = "com.corvane.host";
    std::string bundleShortVersion = "1.0.0";
    std::string bundleDisplayName = "CorvaneHost";
    std::string identifierForVendor = "6F1F0A4E-9C0B-4B59-9E7A-2D3C4B5A6978";
    std::string advertisingIdentifier = "00000000-0000-0000-0000-000000000000";
    bool trackingAuthorized = false;
    double screenWidth = 390;
    double screenHeight = 844;
    double screenScale = 3;
    // The first of the user's preferred languages, as a language tag.
    std::string preferredLanguage = "zh-Hans";

    OTSize screenSize() const { return {screenWidth, screenHeight}; }

    // The facts of this Linux machine: OS version from /etc/os-release, machine from uname, the
    // language from the locale (LC_ALL, LC_MESSAGES, LANG), and a vendor identifier kept in the
    // sandbox so that it is stable for the install.
    static OTDeviceInfo current(const std::string& sandboxRoot, const std::string& bundleIdentifier,
                                const std::string& bundleShortVersion);
};

}  // namespace corvane
