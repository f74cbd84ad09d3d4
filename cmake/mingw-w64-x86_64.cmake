# Windows x64 cross build with MinGW-w64 (the shared settings are in mingw-w64.cmake).
set(TARVOLIN_MINGW_PROCESSOR x86_64)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
