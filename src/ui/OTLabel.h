#pragma once

#include <memory>
#include <string>

#include "model/OTTextAttribute.h"
#include "view/OTSceneNode.h"

namespace corvane {

// A label showing one text attribute of a campaign: setting the attribute applies its text,
// colours and (when given) font size.
class OTLabel final : public OTSceneNode {
public:
    explicit OTLabel(std::string name = {}) : OTSceneNode(Role::Label, std::move(name)) {}

    const std::shared_ptr<OTTextAttribute>& attribute() const { return attribute_; }
    void setAttribute(std::shared_ptr<OTTextAttribute> attribute);

private:
    std::shared_ptr<OTTextAttribute> attribute_;
};

}  // namespace corvane
