package harlune.surface;

import static org.junit.jupiter.api.Assertions.assertAll;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.HashSet;
import java.util.List;
import java.util.Optional;
import java.util.OptionalInt;
import java.util.Set;
import java.util.TreeSet;
import java.util.jar.JarFile;
import java.util.regex.Pattern;
import java.util.stream.Collectors;

import org.junit.jupiter.api.Test;

import velnor.CKK;
import velnor.CKM;
import velnor.params.MechanismParams;
import velnor.params.MessageParams;
import velnor.table.MechanismRow;
import velnor.table.MechanismRow.Use;
import velnor.table.MechanismTable;
import velnor.table.UsualMechanisms;

/** The table of mechanisms is whole, in order, and says nothing that cannot be. */
class MechanismTableTest {
    @Test
    void everyMechanismOfTheHeaderHasOneRowInTheHeadersOrder() throws IOException {
        List<String> names = CKM.all().stream().sorted(Integer::compareUnsigned).map(CKM::name).toList();
        assertEquals(String.join("\n", names),
                MechanismsFile.rows().stream().map(MechanismsFile.Row::name).collect(Collectors.joining("\n")));
        assertEquals(names, MechanismTable.rows().stream().map(row -> CKM.name(row.mechanism())).toList());
    }

    @Test
    void keysBelongToWhatNeedsThem() {
        for (MechanismRow row : MechanismTable.rows()) {
            String name = CKM.name(row.mechanism());
            boolean takesAny = row.mechanism() == CKM.VENDOR_DEFINED;
            assertEquals(takesAny || row.uses().equals(Set.of(Use.DIGEST)), row.keyTypes().isEmpty(), name);
            assertEquals(takesAny, row.takesKey(0x70), name);
            row.keyTypes().forEach(type -> assertTrue(CKK.all().contains(type), name));
            assertFalse(row.uses().isEmpty(), name);
        }
    }

    @Test
    void whatMakesKeysDoesNothingElseAndSaysSo() {
        for (MechanismRow row : MechanismTable.rows()) {
            String name = CKM.name(row.mechanism());
            if (name.matches(".*_KEY_PAIR_GEN(_.*)?")) {
                assertEquals(Set.of(Use.GENERATE_PAIR), row.uses(), name);
                assertEquals(1, row.keyTypes().size(), name);
            } else if (name.matches(".*_(KEY|PARAMETER|G)_GEN")) {
                assertEquals(Set.of(Use.GENERATE), row.uses(), name);
                assertEquals(1, row.keyTypes().size(), name);
            }
        }
    }

    @Test
    void whatIsUsualForAKeyIsForSuchKeys() {
        int kinds = 0;
        for (int type : CKK.all()) {
            UsualMechanisms usual = MechanismTable.usual(type);
            usual.generation().ifPresent(mechanism -> assertIsFor(mechanism, type, Use.GENERATE, Use.GENERATE_PAIR));
            usual.signature().ifPresent(mechanism -> assertIsFor(mechanism, type, Use.SIGN));
            usual.cipher().ifPresent(mechanism -> assertIsFor(mechanism, type, Use.ENCRYPT));
            kinds += usual.generation().isPresent() ? 1 : 0;
        }
        assertEquals(7, kinds);
        assertEquals(OptionalInt.empty(), MechanismTable.usual(CKK.DSA).signature());
    }

    private static void assertIsFor(int mechanism, int keyType, Use... uses) {
        MechanismRow row = MechanismTable.find(mechanism).orElseThrow();
        assertTrue(row.takesKey(keyType), CKM.name(mechanism) + " for " + CKK.name(keyType));
        assertTrue(List.of(uses).stream().anyMatch(row.uses()::contains), CKM.name(mechanism));
    }

    @Test
    void whatIsComputedInTwoStepsTakesTheSameKeys() {
        List<String> shown = new ArrayList<>();
        for (MechanismRow row : MechanismTable.rows()) {
            if (row.base().isPresent()) {
                assertEquals(row.keyTypes(), MechanismTable.find(row.base().getAsInt()).orElseThrow().keyTypes());
                shown.add(CKM.name(row.mechanism()) + "=" + CKM.name(row.base().getAsInt()) + ":" + row.digest());
            }
        }
        assertEquals(List.of("CKM_ECDSA_SHA1=CKM_ECDSA:SHA-1", "CKM_ECDSA_SHA224=CKM_ECDSA:SHA-224",
                "CKM_ECDSA_SHA256=CKM_ECDSA:SHA-256", "CKM_ECDSA_SHA384=CKM_ECDSA:SHA-384",
                "CKM_ECDSA_SHA512=CKM_ECDSA:SHA-512", "CKM_ECDSA_SHA3_224=CKM_ECDSA:SHA3-224",
                "CKM_ECDSA_SHA3_256=CKM_ECDSA:SHA3-256", "CKM_ECDSA_SHA3_384=CKM_ECDSA:SHA3-384",
                "CKM_ECDSA_SHA3_512=CKM_ECDSA:SHA3-512"), shown);
    }

    /** Pairs that ended a process, their neighbours, and pairs that must stay possible. */
    @Test
    void keysOfAnotherNatureAreNotTaken() {
        for (int mechanism : new int[] {CKM.DSA, CKM.DSA_SHA1, CKM.RSA_PKCS, CKM.RSA_X_509, CKM.SHA256_RSA_PKCS_PSS,
            CKM.ECDSA, CKM.ECDSA_SHA256, CKM.RSA_PKCS_OAEP, CKM.DH_PKCS_DERIVE}) {
            for (int type : new int[] {CKK.EC_EDWARDS, CKK.EC_MONTGOMERY, CKK.SHA256_HMAC, CKK.GENERIC_SECRET, CKK.AES,
                CKK.HKDF, CKK.CHACHA20, CKK.ML_DSA}) {
                assertFalse(MechanismTable.find(mechanism).orElseThrow().takesKey(type),
                        CKM.name(mechanism) + " with " + CKK.name(type));
            }
        }
        for (int[] pair : new int[][] {{CKM.ECDSA, CKK.EC}, {CKM.EDDSA, CKK.EC_EDWARDS}, {CKM.EDDSA, CKK.EC},
            {CKM.ECDH1_DERIVE, CKK.EC}, {CKM.ECDH1_DERIVE, CKK.EC_MONTGOMERY}, {CKM.DES3_CBC, CKK.DES2},
            {CKM.SHA256_HMAC, CKK.GENERIC_SECRET}, {CKM.SHA256_HMAC, CKK.SHA256_HMAC}, {CKM.HKDF_DERIVE, CKK.HKDF},
            {CKM.HKDF_DERIVE, CKK.GENERIC_SECRET}, {CKM.CONCATENATE_BASE_AND_KEY, CKK.AES}}) {
            assertTrue(MechanismTable.find(pair[0]).orElseThrow().takesKey(pair[1]), CKM.name(pair[0]));
        }
        assertFalse(MechanismTable.find(CKM.SHA256_HMAC).orElseThrow().takesKey(CKK.SHA384_HMAC));
        assertFalse(MechanismTable.find(CKM.HKDF_DERIVE).orElseThrow().takesKey(CKK.EC));
    }

    /** A class that no mechanism takes could never be used. */
    @Test
    void everyClassOfParametersBelongsToAMechanism() throws IOException, ReflectiveOperationException {
        Set<String> classes = new TreeSet<>();
        try (JarFile jar = new JarFile(CKM.class.getProtectionDomain().getCodeSource().getLocation().getPath())) {
            for (String entry : jar.stream().map(Object::toString)
                    .filter(entry -> entry.matches("velnor/params/\\w+\\.class")).toList()) {
                Class<?> type = Class.forName(entry.replace(".class", "").replace('/', '.'));
                if (MechanismParams.class.isAssignableFrom(type) && !MessageParams.class.isAssignableFrom(type)
                        && !type.isInterface()) {
                    classes.add(type.getSimpleName());
                }
            }
        }
        assertEquals(classes, MechanismTable.rows().stream().flatMap(row -> row.parameterClasses().stream())
                .filter(type -> type != byte[].class && type != MechanismParams.class).map(Class::getSimpleName)
                .collect(Collectors.toCollection(TreeSet::new)));
        assertTrue(classes.size() > 30, classes.toString());
    }

    /** Somebody who missed a parameter is led to something that does not need care, never to something weaker. */
    @Test
    void adviceIsUsedAndSound() throws IOException {
        List<String> lines = MechanismsFile.lines();
        List<String> advice = lines.stream().filter(line -> line.startsWith("advice ")).toList();
        assertAll(advice.stream().map(line -> () -> {
            assertFalse(line.matches(".*(ECB|RSA_X_509|RC4|DES|CKM_RSA_PKCS\\b).*"), line);
            String word = line.split(" +")[1];
            assertTrue(lines.stream().anyMatch(row -> row.matches("CKM_.* advice=" + word + "( .*)?")), word);
        }));
        assertTrue(advice.size() > 10);
    }

    private record GuideLine(Pattern mechanisms, String parameter) {
        static GuideLine of(String line) {
            String[] cells = line.split(" *\\| *");
            String names = Pattern.compile("`([^`]+)`").matcher(cells[1]).results().map(name -> name.group(1))
                    .map(name -> name.replace("*", "\\w*").replace("{", "(").replace("}", ")").replace(",", "|"))
                    .collect(Collectors.joining("|"));
            String words = Pattern.compile("`([^`]+)`").matcher(cells[2]).results()
                    .map(name -> name.group(1).replaceAll("byte\\[(\\d*)\\]", "BYTES$1"))
                    .collect(Collectors.joining("|"));
            return new GuideLine(Pattern.compile(names), words + (cells[2].endsWith(", or none") ? "?" : ""));
        }
    }

    /** Each line of the guide's table is about some mechanism, and each mechanism finds its parameter there. */
    @Test
    void theGuideSaysTheSame() throws IOException {
        List<GuideLine> guide = Files.readAllLines(Path.of(System.getProperty("harlune.sources"), "docs/guide.md"))
                .stream().filter(line -> line.startsWith("| `CKM_")).map(GuideLine::of).toList();
        Set<GuideLine> used = new HashSet<>();
        for (MechanismsFile.Row row : MechanismsFile.rows()) {
            String expected = row.parameter().matches("-|ANY\\??") ? "none in the guide" : row.parameter();
            Optional<GuideLine> line = guide.stream().filter(l -> l.mechanisms().matcher(row.name()).matches())
                    .findFirst();
            line.ifPresent(used::add);
            assertEquals(expected, line.map(GuideLine::parameter).orElse("none in the guide"), row.name());
        }
        assertEquals(new HashSet<>(guide), used);
        assertTrue(guide.size() > 40);
    }
}
