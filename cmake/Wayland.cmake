# Wayland's side is built where its packages are (libwayland-dev, wayland-protocols, libxkbcommon-dev); else the program is
# X11's alone. OVALIN_WAYLAND says which; OVALIN_PLASMA, whether KWin's own protocols are known (plasma-wayland-protocols).
pkg_check_modules(WAYLAND IMPORTED_TARGET wayland-client xkbcommon)
pkg_get_variable(WAYLAND_PROTOCOLS wayland-protocols pkgdatadir)
find_path(PLASMA_PROTOCOLS plasma-window-management.xml PATHS /usr/share/plasma-wayland-protocols)
find_program(WAYLAND_SCANNER wayland-scanner)
if(WAYLAND_FOUND AND WAYLAND_PROTOCOLS AND WAYLAND_SCANNER)
  set(OVALIN_WAYLAND ON)
  enable_language(C) # what the scanner writes
else()
  set(OVALIN_WAYLAND OFF)
  message(STATUS "Without Wayland: libwayland-dev, wayland-protocols or libxkbcommon-dev is missing")
endif()
if(OVALIN_WAYLAND AND PLASMA_PROTOCOLS)
  set(OVALIN_PLASMA ON)
elseif(OVALIN_WAYLAND)
  set(OVALIN_PLASMA OFF)
  message(STATUS "Without KWin's own protocols: plasma-wayland-protocols is missing")
endif()

# A library of these protocol descriptions: "NAME-client-protocol.h" for each NAME.xml.
function(ovalin_wayland_protocols target)
  set(folder ${CMAKE_BINARY_DIR}/protocols/${target})
  file(MAKE_DIRECTORY ${folder})
  foreach(file ${ARGN})
    cmake_path(ABSOLUTE_PATH file)
    cmake_path(GET file STEM name)
    set(header ${folder}/${name}-client-protocol.h)
    set(code ${folder}/${name}-protocol.c)
    add_custom_command(OUTPUT ${header} ${code} DEPENDS ${file} VERBATIM
      COMMAND ${WAYLAND_SCANNER} -s client-header ${file} ${header}
      COMMAND ${WAYLAND_SCANNER} -s private-code ${file} ${code})
    list(APPEND generated ${header} ${code})
  endforeach()
  add_library(${target} STATIC ${generated})
  set_target_properties(${target} PROPERTIES AUTOMOC OFF)
  target_include_directories(${target} SYSTEM PUBLIC ${folder})
  target_link_libraries(${target} PUBLIC PkgConfig::WAYLAND)
endfunction()
