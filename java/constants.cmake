# One Java class for each family of PKCS#11 constants: velnor.CKM has what include/pkcs11.h calls CKM_..., so the two
# cannot differ. Sets `constants_sources`.
set(constants_header ${PROJECT_SOURCE_DIR}/include/pkcs11.h)
set(constants_dir ${CMAKE_CURRENT_BINARY_DIR}/constants/velnor)
set(constants_sources "")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${constants_header})
file(STRINGS ${constants_header} constants_lines REGEX "^inline constexpr CK_[A-Z0-9_]+ CK[A-Z]?_")

# Where one value has two names, these are the ones that gave way.
set(older_names
  CKA_ECDSA_PARAMS CKA_SUB_PRIME_BITS CKF_EC_NAMEDCURVE CKK_ECDSA CKM_ECDSA_KEY_PAIR_GEN "CKM_DSA_PROBABLISTIC_.*"
  "CK[KM]_(.*_)?CAST5.*")
list(JOIN older_names "|" older_names)
set(older_names "^(${older_names})$")

# constants_class(family description [TYPE type] [CODES] [OMIT name...])
# CODES adds the lookups by code and by name, which make sense where a code has one meaning.
function(constants_class family description)
  cmake_parse_arguments(PARSE_ARGV 2 arg "CODES" "TYPE" "OMIT")
  if(NOT arg_TYPE)
    set(arg_TYPE int)
  endif()
  set(members "")
  set(rows "")
  set(older_rows "")
  foreach(line IN LISTS constants_lines)
    if(NOT line MATCHES " ${family}_([A-Z0-9_]+) = ([^;]+)" OR CMAKE_MATCH_1 IN_LIST arg_OMIT)
      continue()
    endif()
    set(name ${CMAKE_MATCH_1})
    string(REPLACE "~0UL" "-1" value ${CMAKE_MATCH_2})
    set(comment "{@code ${family}_${name}}")
    set(row "\n            .add(\"${name}\", ${name})")
    if("${family}_${name}" MATCHES ${older_names})
      string(APPEND comment ", an older name")
      string(APPEND older_rows "${row}")
    elseif("${family}_${name}" MATCHES "^CKG_(NO_)?GENERATE")
      string(APPEND older_rows "${row}")
    else()
      string(APPEND rows "${row}")
    endif()
    string(APPEND members "    /** ${comment}. */\n    public static final ${arg_TYPE} ${name} = ${value};\n")
  endforeach()

  set(imports "")
  set(lookups "")
  if(arg_CODES)
    set(imports "import java.util.List;\nimport java.util.OptionalInt;\n\n")
    string(CONFIGURE [[

    private static final Codes CODES = new Codes("@family@")@rows@@older_rows@;

    /**
     * Names a code.
     *
     * @param code a code
     * @return the name with its prefix; for a code without a name a text that shows the number
     */
    public static String name(int code) {
        return CODES.name(code);
    }

    /**
     * Finds a code by its name.
     *
     * @param name the name, with or without {@code @family@_}, in any case
     * @return the code, empty when there is no such name
     */
    public static OptionalInt forName(String name) {
        return CODES.forName(name);
    }

    /**
     * Lists the codes that have a name.
     *
     * @return each code once
     */
    public static List<Integer> all() {
        return CODES.all();
    }
]] lookups @ONLY)
  endif()

  set(source ${constants_dir}/${family}.java)
  file(CONFIGURE OUTPUT ${source} @ONLY CONTENT [[
package velnor;

@imports@/** @description@ */
public final class @family@ {
@members@@lookups@
    private @family@() {
    }
}
]])
  set(constants_sources ${constants_sources} ${source} PARENT_SCOPE)
endfunction()

constants_class(CK "Numbers that mean something else than their value." OMIT TRUE FALSE)
constants_class(CKA "Attribute types: what is said about an object." CODES)
constants_class(CKC "Certificate types: values of {@link CKA#CERTIFICATE_TYPE}." CODES)
constants_class(CKD "Key derivation functions: what makes a key out of an agreed value." CODES)
constants_class(CKF "Flags. The same bit means different things in different structures, so a bit alone has no name.")
constants_class(CKG "Mask generation functions, for OAEP and PSS; and who makes the vector of a message, numbers that count for
 * themselves: a code alone has the name of the mask." CODES)
constants_class(CKH "Hardware features: values of {@link CKA#HW_FEATURE_TYPE}." CODES)
constants_class(CKK "Key types: values of {@link CKA#KEY_TYPE}." CODES)
constants_class(CKM "Mechanism types: what a token can compute." CODES)
constants_class(CKO "Object classes: values of {@link CKA#CLASS}." CODES)
constants_class(CKP "The pseudo-random functions of PKCS #5, profiles and parameter sets. Each counts for itself, so a number alone
 * has no name.")
constants_class(CKR "Return values: how a call ended." CODES)
constants_class(CKS "Session states." CODES)
# A byte fits the native methods, which take the user as one, and wherever an int is wanted.
constants_class(CKU "Users: who logs in." TYPE byte CODES)
constants_class(CKZ "Where a mechanism takes its encoding parameter or its salt from.")
