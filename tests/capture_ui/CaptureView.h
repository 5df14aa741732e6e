#pragma once

#include <QAccessible>
#include <string>

#include "support/ViewFixture.h"

// Written by Qt's type registrar.
void qml_register_types_Varnelle_CaptureUi();

namespace varnelle::test {

/// A view of the capture interface.
class CaptureView : public ShownView {
public:
    CaptureView(const QString& view, const QVariantMap& properties, QSize size = {})
        : ShownView("Varnelle/CaptureUi", view, properties, size, &qml_register_types_Varnelle_CaptureUi) {}

    /// Name, description and check mark of an item as an assistive program reads them.
    [[nodiscard]] std::string accessible(const QString& objectName) {
        QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(&item(objectName));
        if (interface == nullptr) return "unknown";
        std::string text = interface->text(QAccessible::Name).toStdString();
        const std::string description = interface->text(QAccessible::Description).toStdString();
        if (!description.empty()) text += ", " + description;
        if (interface->state().checked) text += ", checked";
        return text;
    }
    /// The picture once everything has come to rest.
    void pictureAtRest(const QString& name) {
        if (qEnvironmentVariableIsSet("VARNELLE_VIEW_PICTURES")) QTest::qWait(800);
        picture(name);
    }
};

}  // namespace varnelle::test
