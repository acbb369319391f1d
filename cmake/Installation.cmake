# Where the parts go: the host core library, its headers and the module's public headers, the module
# in a folder of its own (hosts load it by path), and the command line.

if(KVR_INSTALL)
  install(TARGETS kvr-core LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/host/include/kvr DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(
    DIRECTORY ${PROJECT_SOURCE_DIR}/include/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kvr-ldap-wrapper
    FILES_MATCHING
    PATTERN "*.h")
  install(TARGETS kvr-ldap-wrapper LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/kvr)
  install(TARGETS kvr-ldap RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# They find the host core library from where they are, installed and in the build tree. One run path has
# to do for both: CMake ends one that it is to edit with an empty element, which the loader reads as the
# current directory.
set_target_properties(kvr-core kvr-ldap-wrapper kvr-ldap PROPERTIES BUILD_WITH_INSTALL_RPATH ON)
set_target_properties(kvr-ldap-wrapper PROPERTIES INSTALL_RPATH "$ORIGIN/..;$ORIGIN"
                                                  INSTALL_RPATH_USE_LINK_PATH ON)
set(to_libraries "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}" "$ORIGIN/../lib")
list(REMOVE_DUPLICATES to_libraries)
set_target_properties(kvr-ldap PROPERTIES INSTALL_RPATH "${to_libraries}")
