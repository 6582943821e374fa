#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace corvane {

#ifdef OT_SHARED_LIBRARY
namespace {
// The dynamic symbols a shared library defines, demangled, as nm lists them.
std::set<std::string> definedDynamicSymbols(const std::string& library) {
    std::set<std::string> symbols;
    const std::string command = "nm -D -C --defined-only '" + library + "' 2>/dev/null";
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) return symbols;
    std::string line;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
        if (c != '\n') {
            line.push_back(static_cast<char>(c));
            continue;
        }
        // "<address> <kind> <name>"
        if (const auto name = line.find(' ', line.find(' ') + 1); name != std::string::npos) {
            symbols.insert(line.substr(name + 1));
        }
        line.clear();
    }
    ::pclose(pipe);
    return symbols;
}
}  // namespace
#endif

TEST(OTExportedSymbols, TheSharedLibraryExportsItsCInterfaceAndPublicClassesOnly) {
#ifndef OT_SHARED_LIBRARY
    GTEST_SKIP() << "this build makes no shared library";
#else
    const auto symbols = definedDynamicSymbols(OT_SHARED_LIBRARY);
    ASSERT_FALSE(symbols.empty()) << "nm listed nothing for " << OT_SHARED_LIBRARY;

    // Every function the C header declares, and nothing else of C.
    std::ifstream header(OT_C_HEADER);
    std::stringstream text;
    text << header.rdbuf();
    const std::string declarations = text.str();
    const std::regex declared(R"(CORVANE_EXPORT [^(;]*\b(corvane_[a-z_]+)\()");
    std::set<std::string> cInterface;
    for (std::sregex_iterator it(declarations.begin(), declarations.end(), declared), end; it != end; ++it) {
        cInterface.insert((*it)[1]);
    }
    ASSERT_TRUE(cInterface.count("corvane_start") && cInterface.count("corvane_release_banner")) << "header unread";

    const std::regex publicClass(
        R"(^((vtable|typeinfo|typeinfo name) for )?corvane::Corvane(OtManager|OtConfig|BannerConfig|OtObserver|PushToken)(::.*)?$)");
    std::set<std::string> exportedC;
    std::vector<std::string> internal;
    for (const auto& symbol : symbols) {
        if (symbol.rfind("corvane_", 0) == 0) {
            exportedC.insert(symbol);
        } else if (!std::regex_match(symbol, publicClass)) {
            internal.push_back(symbol);
        }
    }
    EXPECT_EQ(exportedC, cInterface);
    EXPECT_TRUE(internal.empty()) << internal.size() << " internal symbols exported, the first: " << internal.front();
    EXPECT_TRUE(
        symbols.count("corvane::CorvaneOtManager::startWithConfig(std::shared_ptr<corvane::CorvaneOtConfig> const&)"));
#endif
}

}  // namespace corvane
