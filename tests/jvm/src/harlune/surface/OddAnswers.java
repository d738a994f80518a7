package harlune.surface;

import harlune.support.ScriptedModule;

import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.Set;

import velnor.CKR;

/**
 * Answers that the scripted module gives in the place of its own: refusals, and successes that lie. None makes the
 * module itself write where it must not.
 */
final class OddAnswers {
    /** Either small, or more than any memory has. */
    private static final List<String> NUMBERS = List.of("0", "1", "7", "63", "65", "2000", "5000", "70000", "0x100000",
            "0x4000000000000000", "0xFFFFFFFFFFFFFFFF");
    private static final List<String> FIELDS = List.of("0", "-1", "-2", "0x7FFFFFFF", "0x80000000", "0xFFFFFFFF",
            "0x100000000", "0x7FFFFFFFFFFFFFFF");
    private static final List<String> HANDLES = List.of("0", "1", "-1", "0xB01", "0x5E51", "0x80000007",
            "0x100000B01", "0xFFFFFFFF80000007");
    private static final List<String> TEXTS = List.of("\"\"", "\"Scripted token\"", "00", "FFFEFDC3", "C3A4", "EDA080",
            "F09F9880", "FF".repeat(64));
    private static final List<String> CODES = List.of("0x80000001", "0xFFFFFFFF", "0x12345", "0x100000000",
            "0x1000000A0", "0xFFFFFFFFFFFFFFFF");

    private static final List<String> OUTPUTS = List.of("CKR_OK length=#", "CKR_BUFFER_TOO_SMALL length=#",
            "CKR_BUFFER_TOO_SMALL", "size=2000", "size=70000", "size=0", "data=\"abc\" length=# write=0");
    private static final List<String> LISTS = List.of("list=1..50", "list=0x100000001,2,-1", "list=1..3000",
            "count=#", "list=0x11,0x11 count=#", "CKR_OK count=#", "CKR_BUFFER_TOO_SMALL count=#");
    private static final List<String> INFORMATION = List.of("flags=%", "ulMaxSessionCount=%", "ulMinPinLen=%",
            "ulFreePrivateMemory=%", "state=%", "slotID=%", "ulDeviceError=%", "ulMinKeySize=%", "ulMaxKeySize=%",
            "label=$ model=$", "serialNumber=$ utcTime=$", "manufacturerID=$ libraryDescription=$",
            "slotDescription=$");
    private static final List<String> NEW_HANDLES = List.of("handle=@", "handle=@ private=@", "CKR_OK",
            "CKR_DEVICE_ERROR handle=@");
    private static final Map<String, List<String>> SHAPES = Map.ofEntries(
            Map.entry("C_GetAttributeValue", List.of("length=#", "size=2048", "size=2049", "data=$", "CKR_OK",
                    "data=01 length=8", "CKR_OK length=#", "CKR_ATTRIBUTE_SENSITIVE length=-1")),
            Map.entry("C_FindObjects", List.of("list=1..50", "list=0x100000B01,0xB01", "count=#", "CKR_OK count=#")),
            Map.entry("C_GetSlotList", LISTS), Map.entry("C_GetMechanismList", LISTS),
            Map.entry("C_GetInfo", INFORMATION), Map.entry("C_GetSlotInfo", INFORMATION),
            Map.entry("C_GetTokenInfo", INFORMATION), Map.entry("C_GetSessionInfo", INFORMATION),
            Map.entry("C_GetMechanismInfo", INFORMATION),
            Map.entry("C_OpenSession", NEW_HANDLES), Map.entry("C_CreateObject", NEW_HANDLES),
            Map.entry("C_CopyObject", NEW_HANDLES), Map.entry("C_GenerateKey", NEW_HANDLES),
            Map.entry("C_GenerateKeyPair", NEW_HANDLES), Map.entry("C_UnwrapKey", NEW_HANDLES),
            Map.entry("C_DeriveKey", NEW_HANDLES),
            Map.entry("C_GetObjectSize", List.of("size=%", "CKR_OK")),
            Map.entry("C_WaitForSlotEvent", List.of("slot=0x11", "slot=@", "CKR_OK slot=@")),
            Map.entry("C_GenerateRandom", List.of("write=0", "CKR_OK")),
            Map.entry("C_Digest", List.of("CKR_BUFFER_TOO_SMALL", "CKR_OK length=0x7FFFFFFF", "CKR_OK length=#",
                    "size=2000")),
            Map.entry("C_DigestFinal", OUTPUTS),
            Map.entry("C_Encrypt", OUTPUTS), Map.entry("C_EncryptUpdate", OUTPUTS),
            Map.entry("C_EncryptFinal", OUTPUTS), Map.entry("C_Decrypt", OUTPUTS),
            Map.entry("C_DecryptUpdate", OUTPUTS), Map.entry("C_DecryptFinal", OUTPUTS),
            Map.entry("C_Sign", OUTPUTS), Map.entry("C_SignFinal", OUTPUTS), Map.entry("C_SignRecover", OUTPUTS),
            Map.entry("C_VerifyRecover", OUTPUTS), Map.entry("C_WrapKey", OUTPUTS),
            Map.entry("C_GetOperationState", OUTPUTS));

    private final Random random;

    OddAnswers(Random random) {
        this.random = random;
    }

    /** Prepares the module for a call of which is known which of the module's functions it may come to. */
    void prepare(Set<String> functions) {
        if (random.nextInt(3) == 0) {
            ScriptedModule.failCall(1 + random.nextInt(4), code());
        }
        if (!functions.isEmpty() && random.nextInt(3) == 0) {
            String function = one(List.copyOf(functions));
            int answers = 1 + random.nextInt(2);
            for (int i = 0; i < answers; i++) {
                ScriptedModule.answer(function + " " + answer(function));
            }
        }
    }

    private int code() {
        return one(CKR.all().subList(1, CKR.all().size()));
    }

    private String answer(String function) {
        List<String> shapes = SHAPES.getOrDefault(function, List.of());
        if (shapes.isEmpty() || random.nextInt(4) == 0) {
            return random.nextBoolean() ? one(CODES) : "0x" + Integer.toHexString(code());
        }
        return one(shapes).replace("#", one(NUMBERS)).replace("%", one(FIELDS)).replace("@", one(HANDLES))
                .replace("$", one(TEXTS));
    }

    private <T> T one(List<T> values) {
        return values.get(random.nextInt(values.size()));
    }
}
