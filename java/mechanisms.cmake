# velnor.table.MechanismTable from src/Harlune/mechanisms.txt, which the native library is made from, too.
# Adds to `constants_sources`.
set(mechanisms_table ${PROJECT_SOURCE_DIR}/src/Harlune/mechanisms.txt)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${mechanisms_table})
file(STRINGS ${mechanisms_table} mechanisms_lines REGEX "^[^#]")
set(name "([A-Z0-9_]+)")

# What the rows refer to.
set(rows "")
set(keys "")
foreach(line IN LISTS mechanisms_lines)
  if(line MATCHES "^group +${name} +([A-Z0-9_,]+)$")
    set(group group_${CMAKE_MATCH_1})
    string(REGEX REPLACE "${name}" "CKK.\\1" types ${CMAKE_MATCH_2})
    string(REPLACE "," ", " types ${types})
    list(APPEND ${group} ${types})
  elseif(line MATCHES "^advice +([a-z0-9-]+) +(.+)$")
    set(advice_${CMAKE_MATCH_1} ${CMAKE_MATCH_2})
  elseif(line MATCHES "^key +${name} +([A-Z0-9_-]+) +([A-Z0-9_-]+) +([A-Z0-9_-]+)$")
    set(usual "")
    foreach(mechanism ${CMAKE_MATCH_2} ${CMAKE_MATCH_3} ${CMAKE_MATCH_4})
      if(mechanism STREQUAL "-")
        list(APPEND usual "null")
      else()
        string(REPLACE "CKM_" "CKM." mechanism ${mechanism})
        list(APPEND usual ${mechanism})
      endif()
    endforeach()
    list(JOIN usual ", " usual)
    string(APPEND keys "        KEYS.put(CKK.${CMAKE_MATCH_1}, new UsualMechanisms(${usual}));\n")
  elseif(line MATCHES "^CKM_")
    list(APPEND rows ${line})
  else()
    message(FATAL_ERROR "${mechanisms_table}: not a row: ${line}")
  endif()
endforeach()

set(calls "")
foreach(line IN LISTS rows)
  if(NOT line MATCHES
      "^CKM_${name} +[A-Za-z0-9-]+ +([A-Za-z0-9|?-]+) +([A-Z0-9_,-]+) +([a-z,-]+)( +[a-z]+=[A-Za-z0-9_:-]+)*$")
    message(FATAL_ERROR "${mechanisms_table}: not a mechanism: ${line}")
  endif()
  set(row "row(CKM.${CMAKE_MATCH_1})")
  set(parameter ${CMAKE_MATCH_2})
  set(types ${CMAKE_MATCH_3})
  set(uses ${CMAKE_MATCH_4})

  if(parameter MATCHES "\\?$")
    string(APPEND row ".optional()")
  endif()
  string(REGEX MATCHALL "[^|?]+" alternatives ${parameter})
  foreach(alternative IN LISTS alternatives)
    if(alternative MATCHES "^BYTES([0-9]*)$")
      string(APPEND row ".takesBytes(${CMAKE_MATCH_1})")
    elseif(alternative STREQUAL "ANY")
      string(APPEND row ".takesAnything()")
    elseif(NOT alternative STREQUAL "-")
      string(APPEND row ".takes(${alternative}.class)")
    endif()
  endforeach()

  if(types STREQUAL "ANY")
    string(APPEND row ".anyKey()")
  elseif(NOT types STREQUAL "-")
    string(REPLACE "," ";" types ${types})
    foreach(type IN LISTS types)
      if(DEFINED group_${type})
        string(APPEND row ".keys(${type})")
      else()
        string(APPEND row ".keys(CKK.${type})")
      endif()
    endforeach()
  endif()

  string(TOUPPER ${uses} uses)
  string(REPLACE "-" "_" uses ${uses})
  string(REGEX REPLACE "([A-Z_]+)" "Use.\\1" uses ${uses})
  string(REPLACE "," ", " uses ${uses})
  string(APPEND row ".uses(${uses})")
  if(line MATCHES " advice=([a-z0-9-]+)")
    if(NOT DEFINED advice_${CMAKE_MATCH_1})
      message(FATAL_ERROR "${mechanisms_table}: no such advice: ${line}")
    endif()
    string(APPEND row ".advice(\"${advice_${CMAKE_MATCH_1}}\")")
  endif()
  if(line MATCHES " computes=CKM_${name}:([A-Z0-9-]+)")
    string(APPEND row ".computes(CKM.${CMAKE_MATCH_1}, \"${CMAKE_MATCH_2}\")")
  endif()
  string(APPEND calls "        ${row};\n")
endforeach()

set(groups "")
get_directory_property(variables VARIABLES)
foreach(variable IN LISTS variables)
  if(variable MATCHES "^group_(.+)$")
    list(JOIN ${variable} ", " types)
    string(APPEND groups "    private static final int[] ${CMAKE_MATCH_1} = {${types}};\n")
  endif()
endforeach()

set(source ${CMAKE_CURRENT_BINARY_DIR}/mechanisms/velnor/table/MechanismTable.java)
file(CONFIGURE OUTPUT ${source} @ONLY CONTENT [[
package velnor.table;

import java.util.Collection;
import java.util.Collections;
import java.util.HashMap;
import java.util.LinkedHashMap;
import java.util.Map;
import java.util.Optional;

import velnor.CKK;
import velnor.CKM;
import velnor.params.*;
import velnor.table.MechanismRow.Use;

/** The mechanisms of the standard. */
public final class MechanismTable {
    private static final Map<Integer, MechanismRow> ROWS = new LinkedHashMap<>();
    private static final Map<Integer, UsualMechanisms> KEYS = new HashMap<>();
@groups@
    static {
@calls@@keys@    }

    private MechanismTable() {
    }

    private static MechanismRow row(int mechanism) {
        MechanismRow row = new MechanismRow(mechanism);
        if (ROWS.put(mechanism, row) != null) {
            throw new IllegalStateException(CKM.name(mechanism) + " has two rows");
        }
        return row;
    }

    /**
     * Finds what is known of a mechanism.
     *
     * @param mechanism the mechanism type
     * @return the row, empty for a mechanism of a vendor's and for one that the standard has no name for
     */
    public static Optional<MechanismRow> find(int mechanism) {
        return Optional.ofNullable(ROWS.get(mechanism));
    }

    /**
     * Lists what is known.
     *
     * @return all rows, in the order of their numbers
     */
    public static Collection<MechanismRow> rows() {
        return Collections.unmodifiableCollection(ROWS.values());
    }

    /**
     * Tells what is meant by whoever has a key and names no mechanism.
     *
     * @param keyType the type of the key
     * @return the mechanisms; none of them for a type that is used in too many ways, or in none
     */
    public static UsualMechanisms usual(int keyType) {
        return KEYS.getOrDefault(keyType, UsualMechanisms.NONE);
    }
}
]])
list(APPEND constants_sources ${source})
