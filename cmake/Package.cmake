# What `cmake --install` puts where, and the Debian package (scripts/package).
include(GNUInstallDirs)
set(resources ${PROJECT_SOURCE_DIR}/resources)
install(TARGETS ovalin)
install(TARGETS ovalin_agent DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/ovalin)
install(DIRECTORY ${resources}/Fonts ${resources}/bin DESTINATION ${CMAKE_INSTALL_DATADIR}/ovalin USE_SOURCE_PERMISSIONS)
install(FILES ${resources}/earlier-scripts DESTINATION ${CMAKE_INSTALL_DATADIR}/ovalin)
install(PROGRAMS ${PROJECT_SOURCE_DIR}/scripts/install-speech DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/ovalin)
install(FILES ${resources}/applications/ovalin.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(DIRECTORY ${resources}/icons ${resources}/metainfo DESTINATION ${CMAKE_INSTALL_DATADIR})
install(FILES ${resources}/completions/ovalin.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ovalin)
install(FILES ${resources}/completions/_ovalin DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
install(FILES ${resources}/completions/ovalin.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr") # the package leaves it to `ovalin install-speech`
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/build/speech/ DESTINATION ${CMAKE_INSTALL_DATADIR}/ovalin/speech
    USE_SOURCE_PERMISSIONS OPTIONAL)
endif()
set(OVALIN_AGENT ${CMAKE_INSTALL_FULL_LIBEXECDIR}/ovalin/ovalin-agent)
configure_file(${resources}/applications/ovalin-agent.desktop.in ovalin-agent.desktop @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ovalin-agent.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
configure_file(${resources}/systemd/ovalin.service.in ovalin.service @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ovalin.service DESTINATION lib/systemd/user)

find_program(GZIP gzip REQUIRED)
function(install_compressed file name folder)
  set(packed ${CMAKE_BINARY_DIR}/packed/${name}.gz)
  add_custom_command(OUTPUT ${packed} DEPENDS ${file}
    COMMAND sh -c "'${GZIP}' -9nc '${file}' > '${packed}'" VERBATIM)
  add_custom_target(packed_${name} ALL DEPENDS ${packed})
  add_dependencies(ovalin_program packed_${name})
  install(FILES ${packed} DESTINATION ${folder})
endfunction()
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/packed)
install_compressed(${resources}/man/ovalin.1 ovalin.1 ${CMAKE_INSTALL_MANDIR}/man1)
install_compressed(${PROJECT_SOURCE_DIR}/packaging/changelog changelog ${CMAKE_INSTALL_DOCDIR})
install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright ${PROJECT_SOURCE_DIR}/docs/PRIVACY.md
  ${PROJECT_SOURCE_DIR}/docs/WAYLAND.md
  ${PROJECT_SOURCE_DIR}/docs/USE.md DESTINATION ${CMAKE_INSTALL_DOCDIR})

find_program(RSVG_CONVERT rsvg-convert) # the icon in fixed sizes too, for desktops that draw no SVG
if(RSVG_CONVERT)
  foreach(size 16 24 32 48 64 128 256)
    set(folder icons/hicolor/${size}x${size}/apps)
    set(icon ${CMAKE_BINARY_DIR}/${folder}/ovalin.png)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/${folder})
    add_custom_command(OUTPUT ${icon} DEPENDS ${resources}/icons/hicolor/scalable/apps/ovalin.svg
      COMMAND ${RSVG_CONVERT} -w ${size} -h ${size} -o ${icon} ${resources}/icons/hicolor/scalable/apps/ovalin.svg)
    list(APPEND icons ${icon})
    install(FILES ${icon} DESTINATION ${CMAKE_INSTALL_DATADIR}/${folder})
  endforeach()
  add_custom_target(icons ALL DEPENDS ${icons})
  add_dependencies(ovalin_program icons)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ovalin)
set(CPACK_PACKAGE_CONTACT "The developers of Ovalin <ovalin@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "hand what you are looking at to your agent, or ask about it")
set(CPACK_PACKAGE_DESCRIPTION "A small panel under the pointer, opened by a hotkey over any application.
 It knows the selected text, the page or the picture of the window, and has
 an instruction done in the background, a question answered, or the selected
 text replaced.")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Loaded or run by name, so not found by dpkg-shlibdeps: Qt's X11 plugin comes with libqt6gui6.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "python3, zsh, tesseract-ocr-eng")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "at-spi2-core, xdg-utils, libpulse0, npm, qt6-wayland")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
