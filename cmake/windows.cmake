# Toolchain of the preset "windows": Windows x64 from Linux. LUMO_SDK is the folder of libraries that scripts/windows
# makes or unpacks.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(LUMO_CROSS x86_64-w64-mingw32)
# The variant with POSIX threads: std::thread and std::mutex are used.
set(CMAKE_C_COMPILER ${LUMO_CROSS}-gcc-posix)
set(CMAKE_CXX_COMPILER ${LUMO_CROSS}-g++-posix)
set(CMAKE_DLLTOOL ${LUMO_CROSS}-dlltool)
set(CMAKE_RC_COMPILER ${LUMO_CROSS}-windres)

set(LUMO_SDK "$ENV{LUMO_SDK}" CACHE PATH "libraries built for Windows")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES LUMO_SDK)
set(CMAKE_FIND_ROOT_PATH ${LUMO_SDK})
set(CMAKE_PREFIX_PATH ${LUMO_SDK})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${LUMO_SDK}/lib/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run)
