#pragma once

#include <QSettings>

#include "foundation/UserDefaults.h"

namespace varnelle {

/// What the program remembers, in the user's configuration directory. Main thread.
class SettingsDefaults final : public UserDefaults {
public:
    [[nodiscard]] std::optional<std::string> string(std::string_view key) const override;
    [[nodiscard]] bool boolean(std::string_view key) const override;
    void set(std::string_view key, std::string_view value) override;
    void set(std::string_view key, bool value) override;

private:
    QSettings settings_{QSettings::IniFormat, QSettings::UserScope, "varnelle", "varnelle"};
};

}  // namespace varnelle
