// stand_in KIND FILE: an application that is easily harmed, and writes down what was done to it.
//   keys      a window without a field, in which Ctrl+C quits; FILE gets a line for each key
//   terminal  the same, a terminal to the accessibility tree, in a window with other things
//   popup     the same, of no concern to the window manager
//   windows   two windows of text; FILE.first and FILE.second are what stands in them
#include <QAccessibleWidget>
#include <QApplication>
#include <QFile>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

void write(const QString& file, const QString& text, QIODevice::OpenMode how) {
    QFile out(file);
    if (out.open(QIODevice::WriteOnly | how))
        out.write(text.toUtf8());
}

class Keys final : public QWidget {
public:
    Keys(QString logFile, QWidget* parent)
        : QWidget(parent)
        , file(std::move(logFile)) {
        setFocusPolicy(Qt::StrongFocus);
        setMinimumSize(300, 200);
    }

protected:
    void keyPressEvent(QKeyEvent* event) override {
        if (event->key() >= Qt::Key_Shift && event->key() <= Qt::Key_ScrollLock)
            return; // a modifier alone does nothing
        write(file, QKeySequence(event->keyCombination()).toString() + u'\n', QIODevice::Append);
        if (event->keyCombination() == (Qt::CTRL | Qt::Key_C))
            QCoreApplication::quit();
    }

private:
    QString file;
};

QAccessibleInterface* terminal(const QString&, QObject* object) {
    auto* keys = dynamic_cast<Keys*>(object);
    return keys ? new QAccessibleWidget(keys, QAccessible::Terminal, u"shell"_s) : nullptr;
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    const QString kind = application.arguments().value(1), file = application.arguments().value(2);
    std::vector<std::unique_ptr<QWidget>> windows;
    const auto show = [&windows](std::unique_ptr<QWidget> window, const QString& title) {
        window->setWindowTitle(title);
        window->resize(420, 260);
        window->show();
        windows.push_back(std::move(window));
    };
    if (kind == u"windows"_s) {
        for (const QString& name : {u"first"_s, u"second"_s}) {
            auto text = std::make_unique<QPlainTextEdit>(u"the %1 text"_s.arg(name));
            QObject::connect(text.get(), &QPlainTextEdit::textChanged, text.get(), [edit = text.get(), name, file] {
                write(file + u'.' + name, edit->toPlainText(), QIODevice::Truncate);
            });
            show(std::move(text), u"stand-in "_s + name);
        }
    } else {
        if (kind == u"terminal"_s)
            QAccessible::installFactory(terminal);
        auto window = std::make_unique<QWidget>(nullptr, kind == u"popup"_s ? Qt::BypassWindowManagerHint : Qt::Window);
        auto* column = new QVBoxLayout(window.get());
        auto* keys = new Keys(file, window.get());
        if (kind == u"terminal"_s)
            column->addWidget(new QLineEdit(u"a field above the terminal"_s));
        column->addWidget(keys);
        keys->setFocus();
        show(std::move(window), u"stand-in "_s + kind);
    }
    return QApplication::exec();
}
