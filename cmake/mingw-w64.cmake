# What the two MinGW-w64 cross builds share; included by mingw-w64-x86_64.cmake and
# mingw-w64-i686.cmake after each sets TARVOLIN_MINGW_PROCESSOR (x86_64 or i686). The
# -posix compilers are needed for std::thread (and GoogleTest); the C++ runtime is linked
# statically so that the programs and the DLL load under Wine and on Windows without
# MinGW's DLLs.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${TARVOLIN_MINGW_PROCESSOR})
set(CMAKE_C_COMPILER ${TARVOLIN_MINGW_PROCESSOR}-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER ${TARVOLIN_MINGW_PROCESSOR}-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER ${TARVOLIN_MINGW_PROCESSOR}-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${TARVOLIN_MINGW_PROCESSOR}-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
# Test programs run under Wine, in a prefix of their own inside the build tree.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/wine-run.sh)
