#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

// The host app's page classes, as the host declares them: what a class-name lookup at run time
// finds. Links name pages by class; navigation makes pages from these declarations.
class OTPageClassRegistry {
public:
    struct PageClass {
        std::string name;
        // The properties the class itself declares; only these can be set from a link.
        std::vector<std::string> properties;
        std::optional<std::string> storyboardIdentifier;
        std::optional<std::string> nibName;
        // Ancestors between the class and the platform's base page class, nearest first.
        std::vector<std::string> superclasses = {};
    };

    static std::shared_ptr<OTPageClassRegistry> shared();

    // Replaces an earlier declaration of the same name; an empty name is ignored.
    void registerPageClass(PageClass pageClass);
    std::optional<PageClass> pageClassNamed(const std::string& name) const;
    bool classExists(const std::string& name) const;

private:
    mutable std::mutex mutex_;
    std::map<std::string, PageClass> classes_;
};

}  // namespace corvane
