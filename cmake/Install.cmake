# Installation: the library in both forms, its headers, its CMake package and pkg-config files,
# completion, and an uninstall target. Programs, manuals and documents are installed by the folders
# that build them. Each component is a Debian package. For Windows there is the static form alone, and
# InstallWindows.cmake adds the rest of the zip.

set(MARIGOLD_ROOMS platform core texte isam_common isam_local isam_cluster isam_engine data_definition data_access data_conversion wi_console
  wi_terminal wi_window wi_dialog forms_progress forms_record_list forms_form forms_menu print_files print_output print_sinks print_viewer print_engine application)
set(room_objects)
foreach(room IN LISTS MARIGOLD_ROOMS)
  list(APPEND room_objects $<TARGET_OBJECTS:marigold_${room}>)
endforeach()

find_package(Threads REQUIRED)

# One archive and one shared library hold all rooms; the linker takes from the archive only the
# parts that a program calls.
set(forms static)
if(NOT WIN32)
  list(APPEND forms shared)
endif()
foreach(form IN LISTS forms)
  string(TOUPPER ${form} kind)
  add_library(marigold_${form} ${kind} ${room_objects})
  target_compile_features(marigold_${form} INTERFACE cxx_std_20)
  set_target_properties(marigold_${form} PROPERTIES
    OUTPUT_NAME marigold LINKER_LANGUAGE CXX EXPORT_NAME ${form})
endforeach()
# Libraries of the system that a program has to name: none on Linux.
get_target_property(system_libraries marigold_platform LINK_LIBRARIES)
list(REMOVE_ITEM system_libraries Threads::Threads)
target_link_libraries(marigold_static INTERFACE ${system_libraries})

# PDF is a library beside them, for the sake of what it needs itself.
foreach(form IN LISTS forms)
  string(TOUPPER ${form} kind)
  add_library(marigold_pdf_${form} ${kind} $<TARGET_OBJECTS:marigold_print_pdf>)
  set_target_properties(marigold_pdf_${form} PROPERTIES
    OUTPUT_NAME marigold-pdf LINKER_LANGUAGE CXX EXPORT_NAME pdf_${form})
endforeach()

if(NOT WIN32)
  # The number changes when programs have to be built again.
  set_target_properties(marigold_shared marigold_pdf_shared PROPERTIES
    VERSION 1.${PROJECT_VERSION_MINOR} SOVERSION 1)
  target_link_libraries(marigold_shared PRIVATE gdbm_compat gdbm Threads::Threads)
  target_link_libraries(marigold_pdf_shared PRIVATE marigold_shared ${HPDF_LIBRARY})
  target_link_options(marigold_shared PRIVATE $<$<CONFIG:Release>:${MARIGOLD_LINK_LTO}>)
  if(NOT MARIGOLD_SANITIZE)
    target_link_options(marigold_shared PRIVATE -Wl,--no-undefined)
  endif()
endif()

set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/marigold)
set(targets ${forms})
list(TRANSFORM targets PREPEND marigold_)
install(TARGETS ${targets} EXPORT marigold-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libmarigold1 NAMELINK_COMPONENT libmarigold-dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libmarigold-dev
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
list(TRANSFORM targets REPLACE marigold_ marigold_pdf_)
install(TARGETS ${targets} EXPORT marigold-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libmarigold-pdf1 NAMELINK_COMPONENT libmarigold-dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libmarigold-dev
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT marigold-targets NAMESPACE marigold::
  DESTINATION ${package_directory} COMPONENT libmarigold-dev)
install(DIRECTORY include/marigold DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT libmarigold-dev)

include(CMakePackageConfigHelpers)
configure_package_config_file(cmake/marigold-config.cmake.in marigold-config.cmake
  INSTALL_DESTINATION ${package_directory})
write_basic_package_version_file(marigold-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/marigold-config.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/marigold-config-version.cmake
  DESTINATION ${package_directory} COMPONENT libmarigold-dev)

# marigold_pkg_config(COMPONENT DESCRIPTION REQUIRES PRIVATE_LIBRARIES [LIBRARY])
cmake_path(SET pkg_config_directory ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH up /${pkg_config_directory} /)
string(REGEX REPLACE "/$" "" up "${up}")
function(marigold_pkg_config component description requires private)
  set(library)
  if(ARGC GREATER 4)
    set(library "-l${ARGV4} ")
  endif()
  set(public -lmarigold)
  if(WIN32)
    # Programs of the static form need all of them, and there is no other form.
    string(APPEND public " ${private}")
    set(private)
  endif()
  set(file ${CMAKE_CURRENT_BINARY_DIR}/marigold-${component}.pc)
  file(CONFIGURE OUTPUT ${file} @ONLY CONTENT [[prefix=${pcfiledir}/@up@
includedir=${prefix}/@CMAKE_INSTALL_INCLUDEDIR@
libdir=${prefix}/@CMAKE_INSTALL_LIBDIR@

Name: marigold-@component@
Description: @description@
Version: @PROJECT_VERSION@
Requires: @requires@
Cflags: -I${includedir}
Libs: -L${libdir} @library@@public@
Libs.private: @private@
]])
  install(FILES ${file} DESTINATION ${pkg_config_directory} COMPONENT libmarigold-dev)
endfunction()
# With the component that all others require, so that they follow the library that calls them.
set(below "-lgdbm_compat -lgdbm -pthread")
if(WIN32)
  # All in one place, in the order of the linker, once for any set of components.
  list(TRANSFORM system_libraries PREPEND -l)
  list(JOIN system_libraries " " system_libraries)
  string(CONCAT below [[${libdir}/marigold-utf8.o ]] "-lgdbm_compat -lgdbm ${system_libraries} -pthread")
endif()
marigold_pkg_config(core "Marigold runtime: user interface hook, bounded texts, masks, dates" "" "${below}")
marigold_pkg_config(isam "Marigold runtime: the keyed-file engine" "marigold-core" "")
marigold_pkg_config(texts "Marigold runtime: text databases and system errors" "marigold-core" "")
marigold_pkg_config(data "Marigold runtime: data files by their definitions" "marigold-texts marigold-isam" "")
marigold_pkg_config(windows "Marigold runtime: windows, keys and fields" "marigold-texts" "")
marigold_pkg_config(forms "Marigold runtime: forms, menus and record lists" "marigold-data marigold-windows" "")
marigold_pkg_config(lists "Marigold runtime: printed lists" "marigold-data marigold-windows" "")
marigold_pkg_config(pdf "Marigold runtime: lists as PDF files" "marigold-lists" "-lhpdf" marigold-pdf)
marigold_pkg_config(application "Marigold runtime: applications with windows" "marigold-data marigold-windows" "")

if(WIN32)
  include(cmake/InstallWindows.cmake)
  return()
endif()

foreach(program IN ITEMS scrivel marigold)
  install(FILES completion/${program}.bash RENAME ${program}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT marigold)
  install(FILES completion/_${program}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT marigold)
  install(FILES completion/${program}.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT marigold)
endforeach()

add_custom_target(uninstall
  COMMAND ${CMAKE_COMMAND} -D MANIFEST=${PROJECT_BINARY_DIR}/install_manifest.txt
    -P ${PROJECT_SOURCE_DIR}/cmake/Uninstall.cmake
  VERBATIM)
