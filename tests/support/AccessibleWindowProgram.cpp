#include <QApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QTextEdit>
#include <QTimer>
#include <QWidget>
#include <iostream>

#include "support/AccessibleWindowContent.h"

namespace {

using namespace varnelle::test;

void place(QWidget& widget, const ContentRect& rect) {
    widget.setGeometry(rect.x, rect.y, rect.width, rect.height);
}

}  // namespace

/// Shows a window with a line edit, a button and a text edit, and prints "ready" when it is active. The
/// button gives the text edit the focus.
int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QWidget window;
    QLineEdit lineEdit(kLineEditText, &window);
    QPushButton button("Press", &window);
    QTextEdit textEdit(&window);
    place(window, kWindowContent);
    place(lineEdit, kLineEditContent);
    place(button, kButtonContent);
    place(textEdit, kTextEditContent);
    button.setFocusPolicy(Qt::NoFocus);
    QObject::connect(&button, &QPushButton::clicked, &textEdit, [&textEdit] { textEdit.setFocus(); });
    lineEdit.setFocus();
    lineEdit.setSelection(0, kSelectedCharacters);
    window.show();
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &timer, [&] {
        if (!window.isActiveWindow()) return window.activateWindow();
        std::cout << "ready" << std::endl;
        timer.stop();
    });
    timer.start(20);
    return QApplication::exec();
}
