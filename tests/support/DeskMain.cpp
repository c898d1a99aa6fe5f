// main of the programs that test the X11 side in their own process: an X server first, then Qt on it.
#include "support/TestDesk.h"

static std::unique_ptr<TestDesk> theDesk; // of this test process
TestDesk& ovalin::desk() { return *theDesk; }

int main(int argc, char** argv) {
    testing::InitGoogleMock(&argc, argv);
    if (testing::GTEST_FLAG(list_tests))
        return RUN_ALL_TESTS();
    theDesk = std::make_unique<TestDesk>();
    theDesk->enterEnvironment();
    qputenv("QT_QPA_PLATFORM", "xcb");
    int status = 0;
    {
        QApplication application(argc, argv);
        QApplication::setQuitOnLastWindowClosed(false);
        status = RUN_ALL_TESTS();
    }
    theDesk.reset();
    return status;
}
