#include "shell/SettingsDefaults.h"

namespace varnelle {
namespace {

QString name(std::string_view key) {
    return QString::fromUtf8(key.data(), static_cast<qsizetype>(key.size()));
}

}  // namespace

std::optional<std::string> SettingsDefaults::string(std::string_view key) const {
    const QVariant value = settings_.value(name(key));
    if (!value.isValid()) return std::nullopt;
    return value.toString().toStdString();
}

bool SettingsDefaults::boolean(std::string_view key) const {
    return settings_.value(name(key), false).toBool();
}

void SettingsDefaults::set(std::string_view key, std::string_view value) {
    settings_.setValue(name(key), name(value));
}

void SettingsDefaults::set(std::string_view key, bool value) {
    settings_.setValue(name(key), value);
}

}  // namespace varnelle
