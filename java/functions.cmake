# velnor.nat.Function from src/Harlune/functions.txt, so that Java and the native tables cannot differ.
# Adds to `constants_sources`.
set(functions_list ${PROJECT_SOURCE_DIR}/src/Harlune/functions.txt)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${functions_list})
file(STRINGS ${functions_list} functions_lines REGEX "^[^#]")
set(functions "")
foreach(line IN LISTS functions_lines)
  string(REGEX MATCH "^([A-Za-z]+) (C_([A-Za-z]+))$" matched "${line}")
  if(NOT matched)
    message(FATAL_ERROR "${functions_list}: not a shape and a function: ${line}")
  endif()
  set(shape ${CMAKE_MATCH_1})
  set(function ${CMAKE_MATCH_2})
  string(REGEX REPLACE "([a-z])([A-Z])" "\\1_\\2" name ${CMAKE_MATCH_3})
  string(TOUPPER ${name} name)
  if(NOT DEFINED functions_of_${shape})
    set(functions_of_${shape} 0)
  endif()
  string(APPEND functions "    /** {@code ${function}}, of the shape {@code ${shape}}. */\n"
    "    ${name}(\"${function}\", ${functions_of_${shape}}),\n")
  math(EXPR functions_of_${shape} "${functions_of_${shape}} + 1")
endforeach()
string(REGEX REPLACE ",\n$" ";\n" functions "${functions}")
set(source ${CMAKE_CURRENT_BINARY_DIR}/functions/velnor/nat/Function.java)
file(CONFIGURE OUTPUT ${source} @ONLY CONTENT [[
package velnor.nat;

/** The functions of PKCS#11 that {@link NativeFunctions} reaches, each with its index among those of its shape. */
public enum Function {
@functions@
    private final String standardName;
    private final int index;

    Function(String standardName, int index) {
        this.standardName = standardName;
        this.index = index;
    }

    /**
     * Tells the function's name.
     *
     * @return the name in the standard, such as {@code C_Sign}
     */
    public String standardName() {
        return standardName;
    }

    /**
     * Tells which function of its shape this is.
     *
     * @return the index that the native method of the shape takes; 0 for a shape with one function
     */
    public int index() {
        return index;
    }
}
]])
list(APPEND constants_sources ${source})
