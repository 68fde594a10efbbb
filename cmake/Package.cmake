# Debian packages of the components, or one zip of everything for Windows:
#
#   cmake --build --preset release --target package
#   cmake --build --preset windows --target package
#
# Needs all of the build; the packages go to the folder packages of the build folder.
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGE_CONTACT "Marigold maintainers <maintainers@marigold.example>")
set(CPACK_STRIP_FILES ON)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  # Of the zip, and of the folder that holds everything in it.
  set(CPACK_PACKAGE_FILE_NAME marigold-${PROJECT_VERSION}-windows-x86_64)
  include(CPack)
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL marigold libmarigold1 libmarigold-pdf1 libmarigold-dev)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/finish.cmake)
set(CPACK_PROJECT_SOURCE ${PROJECT_SOURCE_DIR})

set(CPACK_DEBIAN_MARIGOLD_PACKAGE_NAME marigold)
set(CPACK_DEBIAN_MARIGOLD_PACKAGE_SECTION misc)
# The client library of files on a database cluster, and psql for the script that makes its roles.
set(CPACK_DEBIAN_MARIGOLD_PACKAGE_SUGGESTS "libpq5, postgresql-client")
set(CPACK_DEBIAN_MARIGOLD_DESCRIPTION "scrivel writes texts of the language's text database, formatted with its
arguments. marigold builds and checks text databases, looks after data files
and prints lists.")

set(CPACK_DEBIAN_LIBMARIGOLD1_PACKAGE_NAME libmarigold1)
set(CPACK_DEBIAN_LIBMARIGOLD1_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBMARIGOLD1_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
# Loaded when a program opens its first file on a database cluster.
set(CPACK_DEBIAN_LIBMARIGOLD1_PACKAGE_SUGGESTS libpq5)
set(CPACK_DEBIAN_LIBMARIGOLD1_DESCRIPTION "Text databases, keyed data files shared by many processes, text windows on any
terminal, and printed lists.")

set(CPACK_DEBIAN_LIBMARIGOLD-PDF1_PACKAGE_NAME libmarigold-pdf1)
set(CPACK_DEBIAN_LIBMARIGOLD-PDF1_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBMARIGOLD-PDF1_PACKAGE_DEPENDS "libmarigold1 (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_LIBMARIGOLD-PDF1_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_DEBIAN_LIBMARIGOLD-PDF1_DESCRIPTION "Lists of the Marigold runtime as PDF files.")

set(CPACK_DEBIAN_LIBMARIGOLD-DEV_PACKAGE_NAME libmarigold-dev)
set(CPACK_DEBIAN_LIBMARIGOLD-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBMARIGOLD-DEV_PACKAGE_DEPENDS
  "libmarigold1 (= ${PROJECT_VERSION}), libmarigold-pdf1 (= ${PROJECT_VERSION}), libgdbm-dev, libgdbm-compat-dev, libhpdf-dev")
set(CPACK_DEBIAN_LIBMARIGOLD-DEV_DESCRIPTION "Headers, static library, CMake package and pkg-config files for programs that
use the runtime.")

include(CPack)
