# Installation and packages: the component, the platform library and the tool; the
# headers a C++ host needs; a CMake package (find_package(Tarvolin) gives Tarvolin::tarvolin)
# and a pkg-config file; the reference and the license. `cpack` makes Debian packages
# natively.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(TARVOLIN_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Tarvolin)
set(TARVOLIN_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/tarvolin)

set_target_properties(tarvolin_dll PROPERTIES EXPORT_NAME component)
set_target_properties(tarvolin_platform PROPERTIES EXPORT_NAME platform)
set_target_properties(tarvolin_idl PROPERTIES EXPORT_NAME guids OUTPUT_NAME tarvolin_guids)
if(NOT WIN32)
  # libtarvolin.so.1: the major version changes only when the interfaces do.
  set_target_properties(tarvolin_dll tarvolin_platform PROPERTIES
    VERSION ${PROJECT_VERSION}.0 SOVERSION ${PROJECT_VERSION_MAJOR})
  set_target_properties(tarvolin PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
endif()

install(TARGETS tarvolin_dll tarvolin_platform EXPORT TarvolinTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
install(TARGETS tarvolin_idl tarvolin_api EXPORT TarvolinTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
install(TARGETS tarvolin RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Tool)
if(TARGET tarvolin_res_de)
  # The German error texts, in the folder the component looks for them in.
  install(TARGETS tarvolin_res_de LIBRARY DESTINATION ${CMAKE_INSTALL_BINDIR}/de-DE COMPONENT Runtime)
endif()
if(WIN32)
  # The assembly manifest beside the DLL, for registration-free use.
  install(FILES ${PROJECT_BINARY_DIR}/component/Tarvolin.manifest DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime)
  # The examples come with the Windows packages; on Linux they stay in the sources.
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/ DESTINATION examples COMPONENT Development)
endif()

# Headers, in the layout the sources include them by: tarvolin/tarvolin.hpp, and under
# tarvolin/ the generated interfaces and the platform headers they rest on.
install(FILES ${PROJECT_SOURCE_DIR}/include/tarvolin/tarvolin.hpp ${TARVOLIN_INTERFACES_DIR}/tarvolin_h.h
              ${TARVOLIN_INTERFACES_DIR}/tarvolin_i.c ${PROJECT_SOURCE_DIR}/interfaces/tarvolin.idl
        DESTINATION ${TARVOLIN_INCLUDE_DIR} COMPONENT Development)
install(FILES ${PROJECT_SOURCE_DIR}/interfaces/interfaces.h DESTINATION ${TARVOLIN_INCLUDE_DIR}/interfaces
        COMPONENT Development)
install(FILES ${PROJECT_SOURCE_DIR}/platform/platform.h ${PROJECT_SOURCE_DIR}/platform/olechar.h
              ${PROJECT_SOURCE_DIR}/platform/utf.h
        DESTINATION ${TARVOLIN_INCLUDE_DIR}/platform COMPONENT Development)
if(NOT WIN32)
  install(FILES ${PROJECT_SOURCE_DIR}/platform/posix/oletypes.h DESTINATION ${TARVOLIN_INCLUDE_DIR}/platform/posix
          COMPONENT Development)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/posix/include/ DESTINATION ${TARVOLIN_INCLUDE_DIR}/platform/posix/include
          COMPONENT Development FILES_MATCHING PATTERN "*.h")
endif()
install(FILES ${TARVOLIN_TLB} DESTINATION ${CMAKE_INSTALL_DATADIR}/tarvolin COMPONENT Development)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/LICENSE ${TARVOLIN_REFERENCE}
        DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT Runtime)

# The CMake package.
install(EXPORT TarvolinTargets NAMESPACE Tarvolin:: DESTINATION ${TARVOLIN_CMAKE_DIR} COMPONENT Development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/TarvolinConfig.cmake.in
  ${PROJECT_BINARY_DIR}/TarvolinConfig.cmake INSTALL_DESTINATION ${TARVOLIN_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TarvolinConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/TarvolinConfig.cmake ${PROJECT_BINARY_DIR}/TarvolinConfigVersion.cmake
        DESTINATION ${TARVOLIN_CMAKE_DIR} COMPONENT Development)

# The pkg-config file, relative to where it is installed.
if(NOT WIN32)
  file(RELATIVE_PATH TARVOLIN_PC_TO_PREFIX ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig
       ${CMAKE_INSTALL_PREFIX})
  configure_file(${CMAKE_CURRENT_LIST_DIR}/tarvolin.pc.in ${PROJECT_BINARY_DIR}/tarvolin.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/tarvolin.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
          COMPONENT Development)
endif()

# Packages. Natively three Debian packages: the libraries, what a C++ host builds with, and
# the tool.
if(TARVOLIN_TOP_LEVEL)
  set(CPACK_PACKAGE_NAME tarvolin)
  set(CPACK_PACKAGE_VENDOR "The Tarvolin developers")
  set(CPACK_PACKAGE_CONTACT "The Tarvolin developers <tarvolin@localhost>")
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "SQL parser component: statements as objects, expressions as postfix stacks")
  set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION}.0)
  set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
  set(CPACK_RESOURCE_FILE_README ${PROJECT_SOURCE_DIR}/README.md)
  if(WIN32)
    set(CPACK_GENERATOR ZIP)
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
      set(CPACK_PACKAGE_FILE_NAME tarvolin-${CPACK_PACKAGE_VERSION}-win32)
    else()
      set(CPACK_PACKAGE_FILE_NAME tarvolin-${CPACK_PACKAGE_VERSION}-win64)
    endif()
  else()
    set(CPACK_GENERATOR DEB)
    set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
    set(CPACK_DEB_COMPONENT_INSTALL ON)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
    # The tool's own libraries are found in the build tree; its package depends on theirs.
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/platform ${PROJECT_BINARY_DIR}/component)
    set(CPACK_DEBIAN_PACKAGE_SECTION libs)
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libtarvolin1)
    set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtarvolin-dev)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libtarvolin1 (= ${CPACK_PACKAGE_VERSION})")
    set(CPACK_DEBIAN_TOOL_PACKAGE_NAME tarvolin)
    set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION devel)
    set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "libtarvolin1 (= ${CPACK_PACKAGE_VERSION})")
  endif()
  include(CPack)
endif()

# The Windows installer (NSIS), made by the x64 build: the install tree staged in the build
# folder, then makensis. The x86 build's DLLs go in too when TARVOLIN_X86_BUILD_DIR names
# that build's folder.
if(WIN32 AND TARVOLIN_TOP_LEVEL AND CMAKE_SIZEOF_VOID_P EQUAL 8)
  find_program(MAKENSIS makensis)
  set(TARVOLIN_X86_BUILD_DIR "" CACHE PATH "A 32-bit Windows build whose DLLs the installer includes")
  if(MAKENSIS)
    set(stage ${PROJECT_BINARY_DIR}/installer-stage)
    set(setup ${PROJECT_BINARY_DIR}/tarvolin-${PROJECT_VERSION}.0-setup.exe)
    set(x86_commands)
    set(x86_define)
    if(TARVOLIN_X86_BUILD_DIR)
      set(x86_commands
        COMMAND ${CMAKE_COMMAND} -E make_directory ${stage}/bin/x86/de-DE
        COMMAND ${CMAKE_COMMAND} -E copy ${TARVOLIN_X86_BUILD_DIR}/component/tarvolin.dll ${stage}/bin/x86/
        COMMAND ${CMAKE_COMMAND} -E copy ${TARVOLIN_X86_BUILD_DIR}/component/de-DE/tarvolin.res.dll ${stage}/bin/x86/de-DE/
        COMMAND ${CMAKE_COMMAND} -E copy ${TARVOLIN_X86_BUILD_DIR}/component/Tarvolin.manifest ${stage}/bin/x86/)
      set(x86_define -DWITH_X86)
    endif()
    add_custom_command(OUTPUT ${setup}
      COMMAND ${CMAKE_COMMAND} -E rm -rf ${stage}
      COMMAND ${CMAKE_COMMAND} --install ${PROJECT_BINARY_DIR} --prefix ${stage}
      ${x86_commands}
      COMMAND ${MAKENSIS} -V2 -DVERSION=${PROJECT_VERSION}.0 -DSTAGE=${stage} -DOUTFILE=${setup} ${x86_define}
              ${PROJECT_SOURCE_DIR}/packaging/windows/tarvolin.nsi
      DEPENDS tarvolin_dll tarvolin_res_de tarvolin_manifest tarvolin tarvolin_reference
              ${PROJECT_SOURCE_DIR}/packaging/windows/tarvolin.nsi
      COMMENT "Building the installer ${setup}"
      VERBATIM)
    add_custom_target(tarvolin_installer ALL DEPENDS ${setup})
    set(TARVOLIN_INSTALLER ${setup} CACHE INTERNAL "The Windows installer")
  endif()
endif()
