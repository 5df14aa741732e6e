#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>

#include "wallpaper_painter/Picture.h"
#include "wallpaper_painter/Scenes.h"

namespace varnelle::painter {
namespace {

int run(int count, const char* const* arguments) {
    const std::string_view usage =
        "Usage: wallpaper_painter NAME WIDTH OUT.jpg\n"
        "Paints a wallpaper, WIDTH pixels wide and 9/16 of that high.\n\nNames:";
    if (count != 4) {
        std::cerr << usage;
        for (const Scene& scene : scenes()) std::cerr << ' ' << scene.name;
        std::cerr << '\n';
        return 2;
    }
    const int width = std::atoi(arguments[2]);
    if (width < 64 || width > 16384) {
        std::cerr << "The width has to be 64 to 16384 pixels.\n";
        return 2;
    }
    for (const Scene& scene : scenes()) {
        if (scene.name != arguments[1]) continue;
        Canvas canvas(width, width * 9 / 16);
        scene.paint(canvas);
        writePicture(canvas, arguments[3]);
        return 0;
    }
    std::cerr << "There is no scene \"" << arguments[1] << "\".\n";
    return 2;
}

}  // namespace
}  // namespace varnelle::painter

int main(int argc, char** argv) {
    try {
        return varnelle::painter::run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
