#pragma once

namespace corvane {

class OTKeyedArchiver;

// A model object that keyed archives can hold. A class T that can also be read back provides
//   static constexpr const char* kArchiveClassName;
//   static std::shared_ptr<T> initWithCoder(const OTKeyedUnarchiver& coder);  // nullptr refuses
class OTCoding {
public:
    virtual ~OTCoding() = default;
    virtual const char* archiveClassName() const = 0;
    virtual void encodeWithCoder(OTKeyedArchiver& coder) const = 0;
};

}  // namespace corvane
