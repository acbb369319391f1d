# The test "catalogues-are-up-to-date": the templates in po/ hold the texts of the sources, as the
# build has collected them, and every language translates all of them.
# Needs BUILD (build folder), SOURCE (source folder), DOMAINS (separated by commas) and MSGCMP.

string(REPLACE "," ";" domains "${DOMAINS}")
foreach(domain IN LISTS domains)
  set(template ${BUILD}/po/${domain}.pot)
  set(kept ${SOURCE}/po/${domain}/${domain}.pot)
  execute_process(COMMAND ${CMAKE_COMMAND} -E compare_files ${template} ${kept} RESULT_VARIABLE different)
  if(different)
    message(SEND_ERROR "${kept} is not up to date: build the target \"pot\"")
  endif()

  file(GLOB translations ${SOURCE}/po/${domain}/*.po)
  if(NOT translations)
    message(SEND_ERROR "${domain} has no translation")
  endif()
  foreach(translation IN LISTS translations)
    execute_process(COMMAND ${MSGCMP} ${translation} ${template} RESULT_VARIABLE incomplete)
    if(incomplete)
      message(SEND_ERROR "${translation} does not translate every text")
    endif()
  endforeach()
endforeach()
