package harlune;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.lang.reflect.Field;
import java.lang.reflect.Modifier;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.HashSet;
import java.util.List;
import java.util.Locale;
import java.util.Map;
import java.util.OptionalInt;
import java.util.TreeMap;
import java.util.jar.JarFile;
import java.util.regex.MatchResult;
import java.util.regex.Pattern;
import java.util.stream.Stream;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.MethodSource;

import velnor.CKA;
import velnor.CKF;
import velnor.CKK;
import velnor.CKM;
import velnor.CKR;
import velnor.CKS;
import velnor.CKU;

/** The constants of PKCS#11 as Java has them, held against the header that the native library is compiled with. */
class ConstantsTest {
    /** What Java says in its own words, and what only a callback in C would be told. */
    private static final Pattern NOT_IN_JAVA = Pattern.compile("CK_TRUE|CK_FALSE|CKN_.*");

    @Test
    void javaHasWhatTheHeaderHas() throws IOException, ReflectiveOperationException {
        Path header = Path.of(System.getProperty("harlune.sources"), "include/pkcs11.h");
        Map<String, Integer> inHeader = new TreeMap<>();
        Pattern.compile("\\bconstexpr\\s+\\w+\\s+(CK[A-Z]?_\\w+)\\s*=\\s*(\\w+|~0UL)\\s*;")
                .matcher(Files.readString(header)).results()
                .filter(constant -> !NOT_IN_JAVA.matcher(constant.group(1)).matches())
                .forEach(constant -> inHeader.put(constant.group(1), valueOf(constant)));

        Map<String, Integer> inJava = new TreeMap<>();
        for (Class<?> family : families().toList()) {
            for (Field constant : family.getFields()) {
                inJava.put(family.getSimpleName() + "_" + constant.getName(), constant.getInt(null));
            }
        }
        assertEquals(inHeader.toString().replace(", ", "\n"), inJava.toString().replace(", ", "\n"));
        assertTrue(inJava.size() > 600, "only " + inJava.size());
    }

    private static int valueOf(MatchResult constant) {
        return constant.group(2).equals("~0UL") ? -1 : (int) (long) Long.decode(constant.group(2));
    }

    /** Every family that the jar has, so that one too many is noticed too. */
    private static Stream<Class<?>> families() throws IOException {
        try (JarFile jar = new JarFile(CKM.class.getProtectionDomain().getCodeSource().getLocation().getPath())) {
            List<String> names = jar.stream().map(Object::toString)
                    .filter(entry -> entry.matches("velnor/CK[A-Z]?\\.class"))
                    .map(entry -> entry.replace(".class", "").replace('/', '.')).toList();
            return names.stream().map(ConstantsTest::load);
        }
    }

    private static Class<?> load(String name) {
        try {
            return Class.forName(name);
        } catch (ClassNotFoundException e) {
            throw new AssertionError(e);
        }
    }

    @ParameterizedTest
    @MethodSource("families")
    void constantsAreIntsForTheCompilerToo(Class<?> family) {
        for (Field constant : family.getFields()) {
            assertTrue(Modifier.isStatic(constant.getModifiers()) && Modifier.isFinal(constant.getModifiers()));
            assertEquals(family == CKU.class ? byte.class : int.class, constant.getType(), constant.toString());
        }
        assertEquals(0, family.getConstructors().length);
    }

    private static Stream<Class<?>> familiesWithNames() throws IOException {
        return families().filter(family -> Stream.of(family.getMethods()).anyMatch(m -> m.getName().equals("name")));
    }

    @Test
    void theFamiliesWhoseCodesMeanOneThingHaveNames() throws IOException {
        assertEquals("[CKA, CKC, CKD, CKG, CKH, CKK, CKM, CKO, CKR, CKS, CKU]",
                familiesWithNames().map(Class::getSimpleName).sorted().toList().toString());
    }

    @ParameterizedTest
    @MethodSource("familiesWithNames")
    void everyNameIsFoundAndEveryCodeNamed(Class<?> family) throws ReflectiveOperationException {
        List<?> all = (List<?>) family.getMethod("all").invoke(null);
        for (Field constant : family.getFields()) {
            int code = constant.getInt(null);
            String name = family.getSimpleName() + "_" + constant.getName();
            for (String spelling : List.of(name, constant.getName(), name.toLowerCase(Locale.ROOT),
                    constant.getName().toLowerCase(Locale.ROOT))) {
                assertEquals(OptionalInt.of(code), forName(family, spelling), spelling);
            }
            String given = (String) family.getMethod("name", int.class).invoke(null, code);
            assertTrue(given.startsWith(family.getSimpleName() + "_"), given);
            assertEquals(OptionalInt.of(code), forName(family, given));
            assertTrue(all.contains(code), name);
        }
        assertEquals(all.size(), new HashSet<>(all).size());
    }

    private static OptionalInt forName(Class<?> family, String name) throws ReflectiveOperationException {
        return (OptionalInt) family.getMethod("forName", String.class).invoke(null, name);
    }

    @Test
    void ofSeveralNamesTodaysIsGiven() {
        assertEquals("CKA_EC_PARAMS", CKA.name(0x180));
        assertEquals("CKA_SUBPRIME_BITS", CKA.name(0x134));
        assertEquals("CKK_EC", CKK.name(3));
        assertEquals("CKK_CAST128", CKK.name(0x18));
        assertEquals("CKM_EC_KEY_PAIR_GEN", CKM.name(0x1040));
        assertEquals("CKM_CAST128_CBC", CKM.name(0x322));
        assertEquals("CKM_PBE_SHA1_CAST128_CBC", CKM.name(0x3A5));
        assertEquals("CKM_DSA_PROBABILISTIC_PARAMETER_GEN", CKM.name(0x2003));
    }

    @Test
    void codesWithoutANameShowTheirNumber() {
        assertEquals("CKR 0x1234", CKR.name(0x1234));
        assertEquals("CKM_VENDOR_DEFINED", CKM.name(0x80000000));
        assertEquals("CKM_VENDOR_DEFINED+0x1", CKM.name(0x80000001));
        assertEquals("CKA_VENDOR_DEFINED+0x7FFFFFFF", CKA.name(-1));
        assertEquals("CKS 0x80000001", CKS.name(0x80000001));
    }

    @Test
    void whatIsNoNameIsNotFound() {
        for (String name : List.of("", "CKM_", "CKR_OK", "OK", "RSA PKCS", "CKM_CKM_RSA_PKCS")) {
            assertEquals(OptionalInt.empty(), CKM.forName(name), name);
        }
    }

    @Test
    void namesAreFoundWhereUpperCaseIsDifferent() {
        Locale before = Locale.getDefault();
        try {
            Locale.setDefault(new Locale("tr"));
            assertEquals(OptionalInt.of(CKM.RIPEMD160), CKM.forName("ckm_ripemd160"));
        } finally {
            Locale.setDefault(before);
        }
    }

    @Test
    void theListOfAllCodesIsNobodysToChange() {
        assertThrows(UnsupportedOperationException.class, () -> CKM.all().clear());
        assertEquals(CKM.RSA_PKCS_KEY_PAIR_GEN, CKM.all().get(0));
    }

    /** As the standard has them, whatever the header says. */
    @Test
    void someAreWhatTheyAlwaysWere() {
        assertEquals(0x1, CKM.RSA_PKCS);
        assertEquals(0xA0, CKR.PIN_INCORRECT);
        assertEquals(0x40000211, CKA.WRAP_TEMPLATE);
        assertEquals(0x80000000, CKF.EXTENSION);
        assertEquals((byte) 1, CKU.USER);
    }
}
