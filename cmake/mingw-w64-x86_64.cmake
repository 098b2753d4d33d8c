# Cross-compiling for 64-bit Windows with Debian's mingw-w64 (the posix
# thread model, which std::thread and std::mutex need).
#   cmake -B build-win -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake \
#         -DLP_BUILD_GUI=OFF -DLP_BUILD_BENCH=OFF
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(LP_MINGW_PREFIX x86_64-w64-mingw32)
find_program(CMAKE_C_COMPILER NAMES ${LP_MINGW_PREFIX}-gcc-posix ${LP_MINGW_PREFIX}-gcc REQUIRED)
find_program(CMAKE_CXX_COMPILER NAMES ${LP_MINGW_PREFIX}-g++-posix ${LP_MINGW_PREFIX}-g++ REQUIRED)
find_program(CMAKE_RC_COMPILER NAMES ${LP_MINGW_PREFIX}-windres REQUIRED)

set(CMAKE_FIND_ROOT_PATH /usr/${LP_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The programs run where no mingw runtime DLLs are installed (a bare Wine
# prefix, a plain Windows machine): link the C and C++ runtimes and
# winpthreads in.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")

# Tests run the Windows programs through Wine.
find_program(LP_WINE64 NAMES wine64 PATHS /usr/lib/wine NO_CMAKE_FIND_ROOT_PATH)
if(LP_WINE64)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${LP_WINE64})
endif()
