# Windows x86 (32-bit) cross build with MinGW-w64 (the shared settings are in mingw-w64.cmake).
set(TARVOLIN_MINGW_PROCESSOR i686)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
