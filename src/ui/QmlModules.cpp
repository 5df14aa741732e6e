#include "ui/QmlModules.h"

#include <QQmlEngine>
#include <QQmlFileSelector>
#include <QQuickStyle>

// Written by Qt's type registrar.
void qml_register_types_Varnelle_Ui();

namespace varnelle {

void prepareQmlEngine(QQmlEngine& engine) {
    // For the toolkit's dialogs, which are shown where the desktop has none: the only style that keeps to our
    // colours throughout.
    QQuickStyle::setStyle("Fusion");
    (new QQmlFileSelector(&engine, &engine))->setExtraSelectors({"Fusion"});
    keepQmlTypes(&qml_register_types_Varnelle_Ui);
    engine.addImportPath("qrc:/qt/qml");
}

void keepQmlTypes(void (*registration)()) {
    // Reading it through a volatile is what makes the linker keep the object file that it is in.
    [[maybe_unused]] void (*volatile kept)() = registration;
}

}  // namespace varnelle
