// A user's hands for scripts: hands WIDTH HEIGHT, of all outputs together. A line of standard input is a movement, and
// is answered when it is done.
//   press CHORD | hold CHORD | release CHORD | type TEXT | click X Y | drag X Y X Y
#include "support/WaylandHands.h"

#include <QStringList>

#include <cstdlib>
#include <iostream>
#include <string>

using namespace Qt::StringLiterals;

int main(int count, char** words) {
    try {
        const QSize screen = count > 2 ? QSize(std::atoi(words[1]), std::atoi(words[2])) : QSize(1280, 800);
        ovalin::WaylandHands hands(qEnvironmentVariable("XDG_RUNTIME_DIR"), qEnvironmentVariable("WAYLAND_DISPLAY"),
                                   screen);
        std::cout << "ready" << std::endl;
        for (std::string line; std::getline(std::cin, line);) {
            const QString text = QString::fromStdString(line);
            const QString what = text.section(u' ', 0, 0), rest = text.section(u' ', 1);
            const QStringList numbers = rest.split(u' ');
            const auto point = [&](int at) { return QPoint(numbers.value(at).toInt(), numbers.value(at + 1).toInt()); };
            if (what == u"press")
                hands.press(rest);
            else if (what == u"hold")
                hands.hold(rest);
            else if (what == u"release")
                hands.release(rest);
            else if (what == u"type")
                hands.type(rest);
            else if (what == u"click")
                hands.click(point(0));
            else if (what == u"drag")
                hands.drag(point(0), point(2));
            std::cout << "done" << std::endl;
        }
    } catch (const std::exception& problem) {
        std::cerr << problem.what() << '\n';
        return 1;
    }
    return 0;
}
