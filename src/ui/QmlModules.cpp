#include "ui/QmlModules.h"

#include <QQmlEngine>
#include <QQuickStyle>

// Written by Qt's type registrar.
void qml_register_types_Varnelle_Ui();

namespace varnelle {

void prepareQmlEngine(QQmlEngine& engine) {
    QQuickStyle::setStyle("Basic");
    keepQmlTypes(&qml_register_types_Varnelle_Ui);
    engine.addImportPath("qrc:/qt/qml");
}

void keepQmlTypes(void (*registration)()) {
    // Reading it through a volatile is what makes the linker keep the object file that it is in.
    [[maybe_unused]] void (*volatile kept)() = registration;
}

}  // namespace varnelle
