#include "recording/DeviceLabel.h"

#include <QString>
#include <algorithm>
#include <array>

namespace varnelle {
namespace {

struct Family {
    const char* label;  ///< also what its names are known by
    const char* shortNeedle;

    [[nodiscard]] bool contains(const std::string& name) const {
        const QString text = QString::fromStdString(name);
        return text.contains(QLatin1String(label), Qt::CaseInsensitive) ||
               text.contains(QLatin1String(shortNeedle), Qt::CaseInsensitive);
    }
};

constexpr std::array kFamilies = {
    Family{"iPhone Camera", "iPhone Cam"},
    Family{"iPhone Microphone", "iPhone Mic"},
    Family{"iPad Camera", "iPad Cam"},
    Family{"iPad Microphone", "iPad Mic"},
};

}  // namespace

std::string deviceLabel(const std::vector<std::string>& allNames, const std::string& name) {
    const auto family = std::find_if(kFamilies.begin(), kFamilies.end(),
                                     [&](const Family& candidate) { return candidate.contains(name); });
    if (family == kFamilies.end()) return name;
    const auto count = std::count_if(allNames.begin(), allNames.end(),
                                     [&](const std::string& other) { return family->contains(other); });
    return count == 1 ? family->label : name;
}

}  // namespace varnelle
