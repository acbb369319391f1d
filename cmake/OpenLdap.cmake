# The OpenLDAP client library as the interface target kvr-openldap. Version 2.4 has its thread-safe
# variant under a name of its own, libldap_r; since 2.5 libldap is the thread-safe library.

set(KVR_OPENLDAP_CLIENT "" CACHE PATH "Folder of dev/openldap-2.4, to build with its client library")
set(search_paths "")
if(KVR_OPENLDAP_CLIENT)
  set(search_paths PATHS ${KVR_OPENLDAP_CLIENT} NO_DEFAULT_PATH)
endif()

find_path(LDAP_INCLUDE_DIR ldap.h ${search_paths} PATH_SUFFIXES include REQUIRED)
find_path(SASL_INCLUDE_DIR sasl/sasl.h REQUIRED)

file(STRINGS ${LDAP_INCLUDE_DIR}/ldap_features.h ldap_version_line REGEX "define LDAP_VENDOR_VERSION[ \t]")
string(REGEX MATCH "[0-9]+" KVR_OPENLDAP_VERSION "${ldap_version_line}")
if(KVR_OPENLDAP_VERSION VERSION_LESS 20500)
  set(ldap_library_name ldap_r)
else()
  set(ldap_library_name ldap)
endif()
find_library(LDAP_LIBRARY ${ldap_library_name} ${search_paths} PATH_SUFFIXES lib REQUIRED)
find_library(LBER_LIBRARY lber ${search_paths} PATH_SUFFIXES lib REQUIRED)
message(STATUS "OpenLDAP client library ${KVR_OPENLDAP_VERSION}: ${LDAP_LIBRARY}")

add_library(kvr-openldap INTERFACE)
target_include_directories(kvr-openldap SYSTEM INTERFACE ${LDAP_INCLUDE_DIR} ${SASL_INCLUDE_DIR})
target_link_libraries(kvr-openldap INTERFACE ${LDAP_LIBRARY} ${LBER_LIBRARY})
if(KVR_OPENLDAP_CLIENT)
  # libldap_r itself finds liblber only by a path that is handed on, which DT_RUNPATH is not.
  target_link_options(kvr-openldap INTERFACE -Wl,--disable-new-dtags)
endif()
