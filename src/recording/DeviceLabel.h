#pragma once

#include <string>
#include <vector>

namespace varnelle {

/// The label under which a device is shown: a phone's or tablet's camera or microphone goes by its kind, so
/// that a long name of its owner's is shortened, unless there are several of the kind among all names.
std::string deviceLabel(const std::vector<std::string>& allNames, const std::string& name);

}  // namespace varnelle
