# Fails unless the defined dynamic symbols of LIBRARY are exactly the VTL functions listed here:
# nothing of the library's own insides, and no export lost.
cmake_policy(SET CMP0057 NEW)
set(expected
  ChangeCatalog
  GetCurrentServerTimeFromKSV
  GetInitialLauchSyncPrefs
  GetManualConflictResolutionXML
  GetSyncPrefs
  GetSyncPrefsFromString
  GetXMLForSyncPrefs
  IsValidMediaForSync
  SaveSyncPrefs
  SetSyncPrefs
  UpdateOmbSyncCreationSetting
  getVersionSetTop)

find_program(NM nm REQUIRED)
execute_process(COMMAND ${NM} -DC --defined-only ${LIBRARY}
  OUTPUT_VARIABLE symbols RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
string(REPLACE "\n" ";" lines "${symbols}")
set(found "")
foreach(line IN LISTS lines)
  if(line STREQUAL "")
    continue()
  endif()
  # "<address> <type> <name>"; the version node of the SONAME is an absolute symbol.
  string(REGEX REPLACE "^[0-9a-f]* *[A-Za-z] " "" name "${line}")
  if(NOT name MATCHES "^VTL::([A-Za-z_][A-Za-z0-9_]*)[[(]")
    message(FATAL_ERROR "libvantor exports a symbol that is not a VTL function: ${line}")
  endif()
  if(NOT CMAKE_MATCH_1 IN_LIST expected)
    message(FATAL_ERROR "libvantor exports a VTL function that is not listed: ${line}")
  endif()
  list(APPEND found ${CMAKE_MATCH_1})
endforeach()
foreach(name IN LISTS expected)
  if(NOT name IN_LIST found)
    message(FATAL_ERROR "libvantor does not export VTL::${name}")
  endif()
endforeach()
# One name, two exports: the record's text form and the preference screen.
set(xml_exports ${found})
list(FILTER xml_exports INCLUDE REGEX "^GetXMLForSyncPrefs$")
list(LENGTH xml_exports xml_count)
if(NOT xml_count EQUAL 2)
  message(FATAL_ERROR "libvantor exports ${xml_count} GetXMLForSyncPrefs overloads, not 2")
endif()
list(LENGTH found count)
message(STATUS "libvantor exports ${count} VTL functions and nothing else")
