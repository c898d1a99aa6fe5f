# Warnings, sanitizers, hardening. Warnings are errors in our presets only (CMAKE_COMPILE_WARNING_AS_ERROR): a newer compiler on
# somebody else's machine may know more of them.
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  add_compile_options(-Wshadow)
else()
  # Clang counts a local of a static function as shadowing a field; xcb/xkb.h has a field named `explicit`.
  add_compile_options(-Wno-keyword-macro)
endif()
add_compile_definitions(QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_FOREACH QT_NO_KEYWORDS)

set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
# Link-time optimisation generates its code by the linker's flags: -fPIE would copy Qt's meta objects into the program,
# which Qt does not allow, and the program would die at its start.
set(CMAKE_CXX_LINK_OPTIONS_PIE -fPIC -pie)

if(OVALIN_SANITIZE)
  add_compile_options(-fsanitize=${OVALIN_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=${OVALIN_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    add_compile_options(-Wno-maybe-uninitialized) # GCC sees ghosts in std::optional under the sanitizers
  endif()
else()
  # FORTIFY needs optimisation, and a distribution's compiler may set it already.
  add_compile_options(-fstack-protector-strong -fstack-clash-protection -fcf-protection
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  add_link_options(-Wl,-z,relro -Wl,-z,now)
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    add_link_options(-Wno-alloc-size-larger-than) # seen in QHash by link-time optimisation, where it cannot happen
    if(CMAKE_COMPILE_WARNING_AS_ERROR) # what only the whole program shows: two classes of one name, above all
      add_link_options(-Werror=odr -Werror=lto-type-mismatch)
    endif()
  endif()
endif()
