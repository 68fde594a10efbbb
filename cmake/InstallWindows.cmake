# The parts of the zip for Windows that a Linux system has elsewhere: libraries of others, sample
# programs, and the samples ready to be used.
set(libraries ${MARIGOLD_WINDOWS_LIBRARIES}/lib)
install(FILES ${libraries}/libgdbm.a ${libraries}/libgdbm_compat.a ${libraries}/libhpdf.a
  DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libmarigold-dev)

# The library takes the code page of the process for UTF-8, so a program needs the manifest that
# says so. A process has one manifest; a program with its own sets the property MARIGOLD_OWN_MANIFEST.
install(FILES ${libraries}/utf8.o RENAME marigold-utf8.o
  DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libmarigold-dev)
set(executable $<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>)
set(own $<BOOL:$<TARGET_PROPERTY:MARIGOLD_OWN_MANIFEST>>)
set(object $<INSTALL_PREFIX>/${CMAKE_INSTALL_LIBDIR}/marigold-utf8.o)
target_link_options(marigold_static INTERFACE
  $<INSTALL_INTERFACE:$<$<AND:${executable},$<NOT:${own}>>:${object}>>)

# Programs look for texts, definitions and lists from the folder in which they are called: samples
# has them in those places.
install(TARGETS show book windows customers
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT marigold)
set(examples ${PROJECT_SOURCE_DIR}/examples)
install(DIRECTORY ${PROJECT_BINARY_DIR}/examples/locale DESTINATION samples COMPONENT marigold)
install(DIRECTORY ${examples}/data/definitions DESTINATION samples COMPONENT marigold)
install(FILES ${examples}/data/customers.csv ${examples}/data/articles.csv ${examples}/data/orders.jsonl
  DESTINATION samples COMPONENT marigold)
install(FILES ${examples}/lists/customers.list ${examples}/lists/invoice.list ${examples}/lists/order.awk
  DESTINATION samples/lists COMPONENT marigold)
install(FILES ${examples}/lists/DEFAULT.DAT DESTINATION samples/print COMPONENT marigold)

# Licences of everything that the programs hold, as Debian states them, and the versions of the
# sources.
foreach(package IN ITEMS libgdbm-dev libcsv-dev libhpdf-dev libarchive-dev zstd nettle-dev libcli11-dev
    nlohmann-json3-dev libz-mingw-w64-dev g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev)
  install(FILES /usr/share/doc/${package}/copyright RENAME ${package}.txt
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/licences COMPONENT marigold)
endforeach()
install(FILES ${MARIGOLD_WINDOWS_LIBRARIES}/sources RENAME SOURCES.txt
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT marigold)
install(FILES docs/windows.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT marigold)
install(FILES packaging/windows/README.txt DESTINATION . COMPONENT marigold)
