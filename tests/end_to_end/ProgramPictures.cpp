// Takes pictures of the program at work, for the documents: program_pictures PACKAGE DIRECTORY
//
// The program runs on a private display with a window manager; it is played by the names of its controls.

#include <gtest/gtest.h>

#include <QImage>
#include <cstdio>
#include <thread>

#include "end_to_end/ProgramUnderTest.h"
#include "platform/linux/LinuxDesktop.h"
#include "platform/linux/LinuxPermissions.h"
#include "support/Waiting.h"

namespace varnelle {
namespace {

using namespace std::chrono_literals;
using namespace test::key;
using test::AccessibleElement;

constexpr int kFrameBorder = 1;  // of the window manager's

class Photographer {
public:
    Photographer(test::Desktop& desktop, test::ProgramUnderTest& program, QString directory)
        : desktop_(desktop), program_(program), directory_(std::move(directory)) {}

    void take(const char* name, const char* element, int margin = 0) {
        std::this_thread::sleep_for(1200ms);  // animations come to rest, pictures arrive
        const AccessibleElement shown = program_.element(element);
        LinuxDesktop platform(desktop_.server.displayName());
        const auto picture =
            platform.pictureOfDesktop({shown.x - margin, shown.y - margin, shown.x + shown.width + margin,
                                       shown.y + shown.height + margin});
        const auto& plane = picture.value().plane(0);
        const QImage image(plane.data, picture->width(), picture->height(),
                           static_cast<qsizetype>(plane.bytesPerRow), QImage::Format_RGB32);
        if (!image.save(directory_ + "/" + name + ".png"))
            throw std::runtime_error("a picture can't be saved");
    }

private:
    test::Desktop& desktop_;
    test::ProgramUnderTest& program_;
    const QString directory_;
};

/// Brings the playhead to a share of the timeline.
void goTo(test::Desktop& desktop, const test::ProgramUnderTest& program, double share) {
    const AccessibleElement ruler = program.element("Timeline");
    constexpr int inset = 24;
    constexpr int rulerMiddle = 60;
    desktop.click(ruler.x + inset + static_cast<int>((ruler.width - 2 * inset) * share),
                  ruler.y + rulerMiddle);
    desktop.pointer.moveTo(4, 4);
}

void takeAll(const std::string& package, const QString& directory) {
    test::Desktop desktop;
    LinuxPermissions permissions(desktop.server.displayName());
    permissions.requestAccessibilityTrust();
    test::waitUntil([&] { return permissions.isAccessibilityTrusted(); }, 20s);
    test::ProgramUnderTest program(desktop);
    Photographer photographer(desktop, program, directory);
    program.start({package});
    (void)program.shows("Pause");
    std::this_thread::sleep_for(3s);
    desktop.keys.type(kSpace);
    (void)program.shows("Play");

    goTo(desktop, program, 0.53);
    photographer.take("editor-wide", "Editor", kFrameBorder);
    program.click("Background");
    goTo(desktop, program, 0.8);
    photographer.take("editor-zoomed", "Editor", kFrameBorder);
    photographer.take("timeline", "Timeline");
    for (const auto& [tab, name] : {std::pair{"Cursor", "inspector-cursor"},
                                    {"Background", "inspector-background"},
                                    {"Camera", "inspector-camera"},
                                    {"Audio", "inspector-audio"}}) {
        program.click(tab);
        desktop.pointer.moveTo(4, 4);
        photographer.take(name, "Inspector");
    }
    program.click("Export");
    desktop.pointer.moveTo(4, 4);
    photographer.take("export", "Export");
    program.click("Render Project");
    desktop.pointer.moveTo(4, 4);
    std::this_thread::sleep_for(12s);
    photographer.take("export-rendering", "Export");
    program.click("Cancel Export Rendering");
    (void)program.shows("Render Project");
    program.click("720p (1280×720)");
    program.click("Render Project");
    test::waitUntil([&] { return program.isShown("Export Success"); }, 900s);
    desktop.pointer.moveTo(4, 4);
    photographer.take("export-done", "Export");
}

}  // namespace
}  // namespace varnelle

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "program_pictures PACKAGE DIRECTORY\n");
        return 2;
    }
    if (const auto obstacle = varnelle::test::Desktop::obstacle()) {
        std::fprintf(stderr, "%s\n", obstacle->c_str());
        return 1;
    }
    try {
        varnelle::takeAll(argv[1], argv[2]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return testing::UnitTest::GetInstance()->Failed() ? 1 : 0;
}
