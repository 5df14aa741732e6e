# The libraries under the project, all from the distribution. scripts/bootstrap installs them.

find_package(Threads REQUIRED)
find_package(spdlog REQUIRED)
find_package(fmt REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(simdjson REQUIRED)
if(VARNELLE_FUZZERS)
    return()
endif()

find_package(PkgConfig REQUIRED)
find_package(Qt6 6.4 REQUIRED COMPONENTS Core DBus Gui Qml Quick QuickControls2 Svg)
find_package(QCoro6 REQUIRED COMPONENTS Core)
find_package(JPEG REQUIRED)

pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET libavformat libavcodec libavutil libswscale libswresample)
pkg_check_modules(CAIRO REQUIRED IMPORTED_TARGET cairo)
pkg_check_modules(HIGHWAY REQUIRED IMPORTED_TARGET libhwy)
pkg_check_modules(SOUNDTOUCH REQUIRED IMPORTED_TARGET soundtouch)
pkg_check_modules(XCB REQUIRED IMPORTED_TARGET
    xcb xcb-shm xcb-damage xcb-randr xcb-xfixes xcb-composite xcb-render)
pkg_check_modules(PIPEWIRE REQUIRED IMPORTED_TARGET libpipewire-0.3)
pkg_check_modules(X11_INPUT REQUIRED IMPORTED_TARGET xcb-xinput xcb-xkb xkbcommon xkbcommon-x11)
pkg_check_modules(DBUS REQUIRED IMPORTED_TARGET dbus-1)
# Only for its constants; the calls are made straight over D-Bus.
pkg_check_modules(ATSPI REQUIRED atspi-2)

if(VARNELLE_TESTS)
    find_package(GTest REQUIRED)
    pkg_check_modules(ATSPI_TEST REQUIRED IMPORTED_TARGET atspi-2 gobject-2.0)
    find_package(Qt6 6.4 REQUIRED COMPONENTS QuickTest Widgets)
endif()
if(VARNELLE_TESTS OR VARNELLE_BENCHMARKS)
    pkg_check_modules(XCB_TEST REQUIRED IMPORTED_TARGET xcb xcb-xtest)
endif()
