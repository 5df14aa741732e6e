#pragma once

class QQmlEngine;

namespace varnelle {

/// Makes `import Varnelle.Ui` and the program's other modules known to an engine. Main thread, before
/// anything is loaded.
void prepareQmlEngine(QQmlEngine& engine);

/// Keeps the types of a module in a program that links its static library: give it the module's
/// `qml_register_types_...` function, which Qt's type registrar writes.
void keepQmlTypes(void (*registration)());

}  // namespace varnelle
