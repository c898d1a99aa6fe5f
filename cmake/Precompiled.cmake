# The headers of the libraries, compiled once for all rooms: half of a source's compile time. Our own headers are never among
# them, so each source still includes what it uses, and a room sees no toolkit that it does not link.
function(ovalin_precompiled target)
  cmake_parse_arguments(PCH "" "" "LIBS;HEADERS" ${ARGN})
  file(WRITE ${CMAKE_BINARY_DIR}/precompiled/${target}.cpp "")
  add_library(${target} OBJECT ${CMAKE_BINARY_DIR}/precompiled/${target}.cpp)
  target_link_libraries(${target} PRIVATE ${PCH_LIBS})
  target_precompile_headers(${target} PRIVATE ${PCH_HEADERS})
  set_target_properties(${target} PROPERTIES AUTOMOC OFF)
endfunction()

set(core_headers <QByteArray> <QCoreApplication> <QDateTime> <QDir> <QFile> <QFileInfo> <QHash> <QJsonArray> <QJsonDocument> <QJsonObject>
  <QObject> <QPointer> <QRegularExpression> <QSet> <QString> <QStringList> <QTimer> <QUrl> <QUuid>
  <algorithm> <array> <atomic> <chrono> <deque> <functional> <map> <memory> <mutex> <optional> <ranges> <set> <span> <string>
  <thread> <unordered_map> <utility> <variant> <vector>)
ovalin_precompiled(ovalin_precompiled LIBS Qt6::Core HEADERS ${core_headers})
ovalin_precompiled(ovalin_precompiled_widgets LIBS Qt6::Widgets
  HEADERS ${core_headers} <QApplication> <QKeyEvent> <QLabel> <QLineEdit> <QPainter> <QPushButton> <QScreen> <QWidget>)
if(OVALIN_TESTS)
  find_package(GTest REQUIRED)
  ovalin_precompiled(ovalin_precompiled_tests LIBS Qt6::Widgets GTest::gmock
    HEADERS ${core_headers} <gmock/gmock.h> <gtest/gtest.h> <QApplication> <QImage> <QKeyEvent> <QLabel> <QProcess> <QTemporaryDir>)
endif()
