// main of the programs that test the X11 side in their own process: an X server first, then Qt on it.
#include "support/TestDesk.h"

static std::unique_ptr<TestDesk> theDesk; // of this test process
TestDesk& ovalin::desk() { return *theDesk; }

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    if (testing::GTEST_FLAG(list_tests))
        return RUN_ALL_TESTS();
    TestDesk::Options options;
    const char* platform = "xcb";
#ifdef OVALIN_SWAY_DESK
    options.server = TestDesk::Server::Sway;
    options.swayConfig = "bindsym Mod4+F9 exec echo fired >> user-binding\n"
                         "bindsym Mod4+F8 exec ovalin toggle\n";
    platform = "offscreen";
#endif
    theDesk = std::make_unique<TestDesk>(options);
    theDesk->enterEnvironment();
    qputenv("QT_QPA_PLATFORM", platform);
    int status = 0;
    {
        QApplication application(argc, argv);
        QApplication::setQuitOnLastWindowClosed(false);
        status = RUN_ALL_TESTS();
    }
    theDesk.reset();
    return status;
}
