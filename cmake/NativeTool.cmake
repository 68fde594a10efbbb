# The marigold of the machine that builds for Windows. It builds the text databases of the samples:
# that of Windows reads no PO files, and databases are the same on both systems.
find_program(MARIGOLD_NATIVE_TOOL marigold NO_DEFAULT_PATH
  PATHS ${PROJECT_SOURCE_DIR}/build/release/tools ${PROJECT_SOURCE_DIR}/build/debug/tools
  DOC "The marigold of this machine, which builds the text databases of the samples")
if(NOT MARIGOLD_NATIVE_TOOL)
  message(FATAL_ERROR "The sample texts need the marigold of this machine, and neither build/release nor "
    "build/debug has one. Build it first:\n"
    "  cmake --preset release && cmake --build --preset release --target marigold\n"
    "or name another one by -DMARIGOLD_NATIVE_TOOL=PATH.")
endif()
