# Where the parts go: the host core library, its headers and the module's public headers, the module
# in a folder of its own (hosts load it by path), and the command line.

install(TARGETS kvr-core LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/host/include/kvr DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(
  DIRECTORY ${CMAKE_SOURCE_DIR}/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kvr-ldap-wrapper
  FILES_MATCHING
  PATTERN "*.h")
install(TARGETS kvr-ldap-wrapper LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/kvr)
install(TARGETS kvr-ldap RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# It finds the host core library from where it is, as the command line does.
set_target_properties(kvr-ldap-wrapper PROPERTIES INSTALL_RPATH "$ORIGIN/..")
