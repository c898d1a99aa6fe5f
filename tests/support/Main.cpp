// One main for every test program: the offscreen platform unless a test asked for another, and a HOME that is nobody's.
#include "support/Testing.h"

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qputenv("XDG_RUNTIME_DIR", home.path().toUtf8());
    qunsetenv("XDG_CONFIG_HOME");
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    qunsetenv("DISPLAY");
    testing::InitGoogleMock(&argc, argv);
    QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
