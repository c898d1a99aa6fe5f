#include "paste/PasteDesk.h"

namespace ovalin {

namespace {

const char* const PAGE = R"(<!doctype html><meta charset=utf-8><title>loading</title>
<textarea id=t style="width:600px;height:300px"></textarea><script>
const t = document.getElementById('t'), show = () => { document.title = 'page:' + JSON.stringify(t.value) };
t.value = TEXT; t.oninput = show; t.focus(); show();
</script>)";

QString nextName() {
    static int count = 0;
    return u"text%1"_s.arg(++count);
}

} // namespace

Target::Target(Kind what, const QString& text)
    : kind(what)
    , initial(text)
    , file(desk().path(nextName() + u".txt"_s)) {
    writeFile(file, text.toUtf8());
    QString title = file.section(u'/', -1);
    switch (kind) {
    case Kind::Gtk:
        process = &desk().start(u"mousepad"_s, {u"--disable-server"_s, file});
        break;
    case Kind::Qt:
        process = &desk().start(u"featherpad"_s, {u"--standalone"_s, file});
        break;
    case Kind::Chromium: {
        const QString page = desk().path(nextName() + u".html"_s);
        writeFile(page, QByteArray(PAGE).replace("TEXT", "\"" + text.toUtf8() + "\""));
        process = &desk().start(u"chromium"_s,
                                u"--no-sandbox --disable-gpu --no-first-run --disable-background-networking "
                                "--disable-component-update --disable-sync --password-store=basic"_s.split(u' ') +
                                    QStringList{u"--user-data-dir="_s + desk().path(nextName()), u"file://"_s + page});
        title = u"page:"_s;
        break;
    }
    case Kind::Terminal:
        process = &desk().start(u"xterm"_s, {u"-T"_s, title, u"-e"_s, u"cat > '%1'"_s.arg(file)});
        break;
    }
    window = desk().waitForWindow(title, 40);
    if (window.isEmpty())
        throw std::runtime_error("no window of " + process->program().toStdString());
    desk().xdotool({u"windowactivate"_s, u"--sync"_s, window});
    if (kind != Kind::Terminal)
        selectAll();
}

Target::~Target() {
    signal(SIGCONT);
    desk().end(*process);
}

void Target::press(const QString& key) const { desk().xdotool({u"key"_s, key}); }

void Target::selectAll() const {
    // Copied, the text shows that the application listens: not all set PRIMARY.
    const QStringList read{u"-o"_s, u"-selection"_s, u"clipboard"_s};
    const bool selected = waitUntil(
        [&] {
            press(u"ctrl+a"_s);
            press(u"ctrl+c"_s);
            return desk().output(u"xclip"_s, read) == initial;
        },
        40);
    if (!selected)
        throw std::runtime_error("nothing can be selected in " + process->program().toStdString());
}

QString Target::text() const {
    if (kind == Kind::Chromium) {
        const QString title = desk().xdotool({u"getwindowname"_s, window});
        return title.section(u"page:\""_s, 1).section(u"\" - "_s, 0, 0);
    }
    press(kind == Kind::Terminal ? u"Return"_s : u"ctrl+s"_s);
    return QString::fromUtf8(readFile(file)).trimmed();
}

AppWindow Target::place() const {
    XConnection server;
    const auto number = window.toUInt();
    return {WindowOwners(server.get()).ownerOf(number), {number}};
}

OtherProgram::OtherProgram() {
    thread.runAndWait(
        [this] { server = std::make_unique<SelectionServer>(thread, thread.connection().atom("CLIPBOARD")); });
}

OtherProgram::~OtherProgram() {
    thread.runAndWait([this] { server.reset(); });
}

void OtherProgram::own(SelectionContent content) {
    thread.runAndWait([this, content = std::move(content)] { server->own(content); });
}

void OtherProgram::ownNothing() {
    thread.runAndWait([this] { server->clear(); });
}

PasteboardSnapshot OtherProgram::seen(Pasteboard::Selection selection) { return reader.save(selection); }

SelectionContent richContent() {
    SelectionContent content = textContent(u"Grüße 🙂"_s);
    content.push_back({"text/html", "text/html", 8, "<b>Grüße</b>"});
    content.push_back({"application/x-thing", "application/x-thing", 8, QByteArray("a\0b", 3)});
    for (const char* type : {"image/png", "image/bmp"})
        content.push_back({type, type, 8, QByteArray(300'000, type[6])});
    return content;
}

} // namespace ovalin
