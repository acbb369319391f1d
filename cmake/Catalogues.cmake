# Message catalogues: po/<domain>/<language>.po become share/locale/<language>/LC_MESSAGES/<domain>.mo
# in the build tree and in the installation. The template po/<domain>/<domain>.pot is written anew by
# the target "pot" after texts have changed.

find_program(MSGFMT msgfmt REQUIRED)
find_program(XGETTEXT xgettext REQUIRED)
find_program(MSGEN msgen REQUIRED)
find_program(MSGFILTER msgfilter REQUIRED)
find_program(MSGCMP msgcmp REQUIRED)

set(KVR_CATALOGUE_DOMAINS libkvr-ldap-wrapper libkvr-core)

# The function that translates a text tells its domain: the module has texts of its own and texts
# that it shares with the host.
set(KVR_CATALOGUE_KEYWORDS_libkvr-ldap-wrapper --keyword=moduleText --keyword=markedText)
set(KVR_CATALOGUE_KEYWORDS_libkvr-core --keyword=hostText --keyword=coreText)

# What tests put in front of every text of a domain, see kvr_add_marked_catalogue.
set(KVR_CATALOGUE_MARK_libkvr-ldap-wrapper "[w]")
set(KVR_CATALOGUE_MARK_libkvr-core "[c]")

set(KVR_CATALOGUE_TEMPLATES ${PROJECT_BINARY_DIR}/po)

# Adds the targets "catalogues" (part of every build), "catalogue-templates" (the texts of the
# sources, in the build tree) and "pot" (copies them to po/).
function(kvr_add_catalogues)
  file(
    GLOB sources
    RELATIVE ${PROJECT_SOURCE_DIR}
    CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/host/src/*.cpp ${PROJECT_SOURCE_DIR}/host/src/*.h
                      ${PROJECT_SOURCE_DIR}/src/interfaces/ldap-wrapper/*.cpp
                      ${PROJECT_SOURCE_DIR}/src/interfaces/ldap-wrapper/*.h)
  list(TRANSFORM sources PREPEND ${PROJECT_SOURCE_DIR}/ OUTPUT_VARIABLE source_files)

  set(catalogues "")
  set(templates "")
  set(copies "")
  foreach(domain IN LISTS KVR_CATALOGUE_DOMAINS)
    # No places and no dates, so that the template changes with the texts only.
    set(template ${KVR_CATALOGUE_TEMPLATES}/${domain}.pot)
    add_custom_command(
      OUTPUT ${template}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${KVR_CATALOGUE_TEMPLATES}
      COMMAND
        ${XGETTEXT} --language=C++ --from-code=UTF-8 --keyword ${KVR_CATALOGUE_KEYWORDS_${domain}} --force-po
        --no-location --omit-header --add-comments=TRANSLATORS: --output=${template} ${sources}
      DEPENDS ${source_files}
      WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
      COMMENT "Collecting the texts of ${domain}"
      VERBATIM)
    list(APPEND templates ${template})
    list(APPEND copies COMMAND ${CMAKE_COMMAND} -E copy ${template}
         ${PROJECT_SOURCE_DIR}/po/${domain}/${domain}.pot)

    file(GLOB translations CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/po/${domain}/*.po)
    foreach(translation IN LISTS translations)
      get_filename_component(language ${translation} NAME_WE)
      set(folder ${PROJECT_BINARY_DIR}/share/locale/${language}/LC_MESSAGES)
      set(catalogue ${folder}/${domain}.mo)
      add_custom_command(
        OUTPUT ${catalogue}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}
        COMMAND ${MSGFMT} --check --output-file=${catalogue} ${translation}
        DEPENDS ${translation}
        COMMENT "Compiling catalogue ${language}/${domain}"
        VERBATIM)
      list(APPEND catalogues ${catalogue})
      if(KVR_INSTALL)
        install(FILES ${catalogue} DESTINATION ${CMAKE_INSTALL_LOCALEDIR}/${language}/LC_MESSAGES)
      endif()
    endforeach()
  endforeach()

  add_custom_target(catalogues ALL DEPENDS ${catalogues})
  add_custom_target(catalogue-templates ALL DEPENDS ${templates})
  add_custom_target(pot ${copies} DEPENDS ${templates} VERBATIM)
  add_dependencies(pot catalogue-templates)
endfunction()

# kvr_add_marked_catalogue(target folder)
# Adds a target that writes catalogues of the language "qq" below the folder (for bindtextdomain):
# each text M of libkvr-ldap-wrapper becomes "[w]M", each one of libkvr-core "[c]M". A test sees by
# the mark which catalogue a text comes from. Needs LANGUAGE=qq and LC_ALL=C.UTF-8 at run time.
function(kvr_add_marked_catalogue target folder)
  set(catalogues "")
  foreach(domain IN LISTS KVR_CATALOGUE_DOMAINS)
    set(messages ${folder}/qq/LC_MESSAGES)
    set(template ${KVR_CATALOGUE_TEMPLATES}/${domain}.pot)
    add_custom_command(
      OUTPUT ${messages}/${domain}.mo
      COMMAND ${CMAKE_COMMAND} -E make_directory ${messages}
      COMMAND ${MSGEN} --output-file=${messages}/${domain}.en.po ${template}
      COMMAND ${MSGFILTER} --input=${messages}/${domain}.en.po --output-file=${messages}/${domain}.po
              --keep-header sed -e "1s/^/${KVR_CATALOGUE_MARK_${domain}}/"
      COMMAND ${MSGFMT} --check-format --output-file=${messages}/${domain}.mo ${messages}/${domain}.po
      DEPENDS ${template}
      COMMENT "Marking the texts of ${domain}"
      VERBATIM)
    list(APPEND catalogues ${messages}/${domain}.mo)
  endforeach()
  add_custom_target(${target} ALL DEPENDS ${catalogues})
  add_dependencies(${target} catalogue-templates)
endfunction()

# Adds the test "catalogues-are-up-to-date", see CheckCatalogues.cmake.
function(kvr_add_catalogue_test)
  string(REPLACE ";" "," domains "${KVR_CATALOGUE_DOMAINS}")
  add_test(
    NAME catalogues-are-up-to-date
    COMMAND ${CMAKE_COMMAND} -D BUILD=${PROJECT_BINARY_DIR} -D SOURCE=${PROJECT_SOURCE_DIR} -D DOMAINS=${domains} -D
            MSGCMP=${MSGCMP} -P ${PROJECT_SOURCE_DIR}/cmake/CheckCatalogues.cmake)
  set_tests_properties(catalogues-are-up-to-date PROPERTIES LABELS unit TIMEOUT 120)
endfunction()
