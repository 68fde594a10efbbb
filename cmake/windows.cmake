# Toolchain for Windows programs: the mingw-w64 compiler of Debian, libraries that
# scripts/windows_libraries has built, and Wine to run tests.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
# The compiler with POSIX threads: the other one has no std::thread and no std::mutex.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# Try-compile projects read this file too, and see only variables of this list.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MARIGOLD_WINDOWS_LIBRARIES)
set(MARIGOLD_WINDOWS_LIBRARIES "" CACHE PATH "Folder that scripts/windows_libraries has filled")
if(NOT EXISTS "${MARIGOLD_WINDOWS_LIBRARIES}/lib/utf8.o")
  message(FATAL_ERROR "No libraries for Windows in \"${MARIGOLD_WINDOWS_LIBRARIES}\". Build them by\n"
    "  scripts/windows_libraries ${MARIGOLD_WINDOWS_LIBRARIES}")
endif()

# Headers and libraries of the host would be found otherwise, and used.
set(CMAKE_FIND_ROOT_PATH "${MARIGOLD_WINDOWS_LIBRARIES}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(kind IN ITEMS INCLUDE LIBRARY PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
set(CMAKE_FIND_LIBRARY_PREFIXES lib)
set(CMAKE_FIND_LIBRARY_SUFFIXES .a)

# Windows 10 and later. printf as the C standard has it, not as msvcrt.dll does. Without
# LIBARCHIVE_STATIC that library's header declares the functions of a DLL.
set(definitions "-D_WIN32_WINNT=0x0A00 -D__USE_MINGW_ANSI_STDIO=1 -DLIBARCHIVE_STATIC")
set(CMAKE_C_FLAGS_INIT "${definitions}")
set(CMAKE_CXX_FLAGS_INIT "${definitions}")
# Libraries that CMake knows by their names alone lie there too.
set(CMAKE_C_STANDARD_INCLUDE_DIRECTORIES "${MARIGOLD_WINDOWS_LIBRARIES}/include")
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES "${MARIGOLD_WINDOWS_LIBRARIES}/include")
# A program is one file, without the compiler's DLLs. The object names UTF-8 the code page of the
# process, for arguments, environment and the narrow functions of the system.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static ${MARIGOLD_WINDOWS_LIBRARIES}/lib/utf8.o -L${MARIGOLD_WINDOWS_LIBRARIES}/lib")

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine)
