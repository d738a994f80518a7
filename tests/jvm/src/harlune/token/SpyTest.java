package harlune.token;

import static harlune.support.Ck.*;
import static harlune.token.Bytes.around;
import static harlune.token.Bytes.blank;
import static harlune.token.Bytes.bytes;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import harlune.support.Tokens;

import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.util.HexFormat;
import java.util.List;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.function.Executable;

import velnor.Attribute;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.params.EXTRACTParams;
import velnor.params.MACGENERALParams;
import velnor.params.OAEPParams;
import velnor.params.RC2CBCParams;
import velnor.params.RC5MACGENERALParams;

/**
 * What arrives at a real module of what was meant, seen by OpenSC's spy in front of it: somebody else's code, which
 * reads the arguments by the standard's layout. Where SoftHSM refuses the call, the arguments have arrived all the
 * same.
 */
class SpyTest extends KeyedSession {
    private static final int OFFSET = 5;
    private static final byte[] PART = bytes(16);
    /** The part in the midst of others. */
    private static final byte[] ARRAY = around(OFFSET, PART, 7);
    private static final byte[] IV = bytes(8);
    private static final byte[] PRIME256V1 = {6, 8, 42, (byte) 0x86, 72, (byte) 0xCE, 61, 3, 1, 7};
    private static final Mechanism DES3_CBC = new Mechanism(CKM_DES3_CBC, IV);
    private static final Mechanism RSA_PKCS = new Mechanism(CKM_RSA_PKCS);
    private static final Mechanism SHA_1 = new Mechanism(CKM_SHA_1);
    /** A key that no token has, of a handle that needs all bits. */
    private static final long NO_KEY = 0xFEDC_BA98_7654_3210L;

    private static void assertArrive(Executable call, String... expected) {
        assertEquals(String.join("\n", expected), String.join("\n", SpyLog.during(call)));
    }

    /** For calls that the token refuses. */
    private static void assertArriveInVain(Executable call, String... expected) {
        assertArrive(() -> assertThrows(CryptokiException.class, call), expected);
    }

    private static String hex(byte[] bytes) {
        return HexFormat.of().withUpperCase().formatHex(bytes);
    }

    private static String hex(String text) {
        return hex(text.getBytes(StandardCharsets.UTF_8));
    }

    /** As many bytes as a CK_ULONG has, in this machine's order. */
    private static String ulong(long number) {
        return HexFormat.of().withUpperCase().toHexDigits(Long.reverseBytes(number));
    }

    /** A call in this test's session. */
    private String call(String function, Object... arguments) {
        return "C_" + function + "(" + sessionArgument() + String.format(", %s".repeat(arguments.length), arguments)
                + ")";
    }

    private String sessionArgument() {
        return "hSession = 0x" + Long.toHexString(h);
    }

    private static String slotArgument() {
        return "slotID = 0x" + Integer.toHexString(slot.slotID());
    }

    private static String handle(String name, long handle) {
        return name + " = 0x" + Long.toHexString(handle);
    }

    private static String key(long handle) {
        return handle("hKey", handle);
    }

    private static String mechanism(String type) {
        return mechanism(type, "NULL");
    }

    private static String mechanism(String type, String parameter) {
        return "pMechanism->type = " + type + ", pMechanism->pParameter = " + parameter;
    }

    private static String part(String name) {
        return name + " = " + hex(PART);
    }

    @Test
    void theModuleIsInitialisedWithoutArguments() {
        assertEquals(List.of("C_GetFunctionList()", "C_Initialize(pInitArgs = (nil))"),
                SpyLog.all().subList(0, 2));
        assertArrive(() -> cryptoki.GetInfo(), "C_GetInfo()");
    }

    @Test
    void slotsAreAskedFor() {
        assertArrive(() -> cryptoki.GetSlotList(false), "C_GetSlotList(tokenPresent = 0x0)",
                "C_GetSlotList(tokenPresent = 0x0)");
        assertArrive(() -> cryptoki.GetSlotList(true), "C_GetSlotList(tokenPresent = 0x1)",
                "C_GetSlotList(tokenPresent = 0x1)");
        assertArrive(() -> slot.J_GetSlotInfo(), "C_GetSlotInfo(" + slotArgument() + ")");
        assertArrive(() -> slot.J_GetTokenInfo(), "C_GetTokenInfo(" + slotArgument() + ")");
        String listing = "C_GetMechanismList(" + slotArgument() + ")";
        assertArrive(() -> slot.J_GetMechanismList(), listing, listing);
        assertArrive(() -> slot.J_GetMechanismInfo(CKM_AES_KEY_GEN),
                "C_GetMechanismInfo(" + slotArgument() + ", type = CKM_AES_KEY_GEN)");
        assertEquals(1, SpyLog.during(() -> assertThrows(CryptokiException.class,
                () -> cryptoki.WaitForSlotEvent(CKF_DONT_BLOCK, null))).stream()
                .filter(event -> event.startsWith("C_WaitForSlotEvent(flags = 0x1, ")).count());
    }

    @Test
    void sessionsBeginAndEnd() {
        assertArrive(() -> slot.J_OpenSession(CKF_SERIAL_SESSION).J_CloseSession(),
                "C_OpenSession(" + slotArgument() + ", flags = 0x4, pApplication = (nil), Notify = (nil))",
                "C_CloseSession(" + handle("hSession", h + 1) + ")");
        assertArrive(() -> slot.J_OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, CKU_USER, Tokens.PIN),
                "C_OpenSession(" + slotArgument() + ", flags = 0x6, pApplication = (nil), Notify = (nil))",
                "C_Login(" + handle("hSession", h + 2) + ", userType = CKU_USER, pPin = " + hex(Tokens.PIN) + ")");
        assertArrive(() -> session.J_GetSessionInfo(), call("GetSessionInfo"));
        assertArrive(() -> session.J_Logout(), call("Logout"));
        assertArrive(() -> slot.J_CloseAllSessions(), "C_CloseAllSessions(" + slotArgument() + ")");
    }

    @Test
    void pinsAndUserTypes() {
        assertArriveInVain(() -> session.J_Login(CKU_SO, "12"),
                call("Login", "userType = CKU_SO", "pPin = 3132"));
        assertArriveInVain(() -> session.J_Login(CKU_CONTEXT_SPECIFIC, "PIN"),
                call("Login", "userType = CKU_CONTEXT_SPECIFIC", "pPin = 50494E"));
        assertArriveInVain(() -> session.J_Login(CKU_USER, "Schlüssel €"),
                call("Login", "userType = CKU_USER", "pPin = " + hex("Schlüssel €")));
        assertArriveInVain(() -> session.J_InitPIN("77777"), call("InitPIN", "pPin = 3737373737"));
        assertArriveInVain(() -> session.J_SetPIN("wrong", "Zürich"),
                call("SetPIN", "pOldPin = " + hex("wrong"), "pNewPin = " + hex("Zürich")));
        assertArriveInVain(() -> slot.J_InitToken("a wrong one", "label"), "C_InitToken(" + slotArgument() + ", pPin = "
                + hex("a wrong one") + ", pLabel = " + hex("label" + " ".repeat(27)) + ")");
    }

    @Test
    void whatTokensSeldomHave() {
        assertArriveInVain(() -> session.J_GetOperationState(), call("GetOperationState"));
        assertArriveInVain(() -> session.J_SetOperationState(PART, NO_KEY, 7), call("SetOperationState",
                part("pOperationState"), handle("hEncryptionKey", NO_KEY), handle("hAuthenticationKey", 7)));
        assertArriveInVain(() -> session.J_GetFunctionStatus(), call("GetFunctionStatus"));
        assertArriveInVain(() -> session.J_CancelFunction(), call("CancelFunction"));
    }

    /** How many bytes are wanted, the spy tells of the answer alone. */
    @Test
    void seedsAndRandom() {
        assertArrive(() -> session.J_GenerateRandom(h, true, PART, blank(20), 3, 10),
                call("SeedRandom", part("pSeed")), call("GenerateRandom"));
        assertArrive(() -> session.J_GenerateRandom(h, false, PART, blank(20), 3, 10), call("GenerateRandom"));
    }

    @Test
    void templatesHaveTypesValuesAndLengths() {
        Attribute[] template = {
            new Attribute(CKA_CLASS, CKO_DATA),
            new Attribute(CKA_TOKEN, false),
            new Attribute(CKA_PRIVATE, true),
            new Attribute(CKA_LABEL, "a label"),
            new Attribute(CKA_VALUE, PART),
            new Attribute(CKA_ID, null),
            new Attribute(CKA_ID, new byte[0]),
            new Attribute(CKA_VALUE_LEN, 0x01020304),
            new Attribute(CKA_MODULUS_BITS, -2),
            new Attribute(0x80000001, new byte[3]),
        };
        assertArriveInVain(() -> session.J_CreateObject(template), call("CreateObject",
                "pTemplate.CKA_CLASS = CKO_DATA", "pTemplate.CKA_TOKEN = False", "pTemplate.CKA_PRIVATE = True",
                "pTemplate.CKA_LABEL = " + hex("a label"), "pTemplate.CKA_VALUE = " + hex(PART),
                "pTemplate.CKA_ID = ", "pTemplate.CKA_ID = ",
                "pTemplate.CKA_VALUE_LEN = " + ulong(0x01020304), "pTemplate.CKA_MODULUS_BITS = " + ulong(0xFFFFFFFEL),
                "pTemplate.CKA_? (0xffffffff80000001) = 3 bytes"));
        assertArriveInVain(() -> session.J_CreateObject(null), call("CreateObject", "pTemplate is empty"));
    }

    @Test
    void objectsAndTheirAttributes() {
        Attribute[] label = {new Attribute(CKA_LABEL, "y")};
        String labelArrives = "pTemplate.CKA_LABEL = 79";
        long object = secretKey(CKK_GENERIC_SECRET, PART);
        String theObject = handle("hObject", object);
        assertArrive(() -> session.J_CopyObject(object, label), call("CopyObject", theObject, labelArrives));
        assertArrive(() -> session.J_GetObjectSize(object), call("GetObjectSize", theObject));
        assertArrive(() -> session.J_SetAttributeValue(object, label),
                call("SetAttributeValue", theObject, labelArrives));
        assertArrive(() -> session.J_FindObjects(label), call("FindObjectsInit", labelArrives),
                call("FindObjects", "ulMaxObjectCount = 0x32"), call("FindObjectsFinal"));
        assertArrive(() -> session.J_DestroyObject(object), call("DestroyObject", theObject));
        assertArriveInVain(() -> session.J_DestroyObject(NO_KEY),
                call("DestroyObject", handle("hObject", NO_KEY)));
    }

    @Test
    void regionsAreEncryptedAndDecrypted() {
        long key = secretKey(CKK_DES3, bytes(24));
        String cbc = mechanism("CKM_DES3_CBC", hex(IV));
        assertArrive(() -> session.J_Encrypt(h, true, DES3_CBC, key, ARRAY, OFFSET, 16),
                call("EncryptInit", cbc, key(key)), call("Encrypt", part("pData")));
        assertArrive(() -> session.J_EncryptUpdate(h, true, DES3_CBC, key, ARRAY, OFFSET, 16, blank(30), 3),
                call("EncryptInit", cbc, key(key)), call("EncryptUpdate", part("pPart")));
        assertArrive(() -> session.J_EncryptFinal(), call("EncryptFinal"));
        assertArrive(() -> session.J_Decrypt(h, true, DES3_CBC, key, ARRAY, OFFSET, 16),
                call("DecryptInit", cbc, key(key)), call("Decrypt", part("pEncryptedData")));
        assertArrive(() -> session.J_DecryptUpdate(h, true, DES3_CBC, key, ARRAY, OFFSET, 16),
                call("DecryptInit", cbc, key(key)), call("DecryptUpdate", part("pEncryptedPart")));
        assertArrive(() -> session.J_DecryptFinal(), call("DecryptFinal"));
    }

    @Test
    void regionsAreDigested() {
        long key = secretKey(CKK_GENERIC_SECRET, PART);
        assertArrive(() -> session.J_Digest(h, true, SHA_1, ARRAY, OFFSET, 16),
                call("DigestInit", mechanism("CKM_SHA_1")), call("Digest", part("pData")));
        assertArrive(() -> session.J_DigestUpdate(h, true, SHA_1, ARRAY, OFFSET, 16),
                call("DigestInit", mechanism("CKM_SHA_1")), call("DigestUpdate", part("pPart")));
        assertArrive(() -> session.J_DigestKey(h, false, null, key), call("DigestKey", key(key)));
        assertArrive(() -> session.J_DigestFinal(), call("DigestFinal"));
    }

    /** The library asks for a signature's length first, with the same data. */
    @Test
    void regionsAreSignedAndVerified() throws GeneralSecurityException {
        RsaKeys keys = new RsaKeys();
        long privateKey = keys.createPrivateKey(session);
        long publicKey = keys.createPublicKey(session);
        String init = mechanism("CKM_RSA_PKCS");
        assertArrive(() -> session.J_Sign(h, true, RSA_PKCS, privateKey, ARRAY, OFFSET, 16),
                call("SignInit", init, key(privateKey)), call("Sign", part("pData")), call("Sign", part("pData")));
        assertArrive(() -> session.J_Sign(h, true, RSA_PKCS, privateKey, ARRAY, OFFSET, 16, blank(260), 4),
                call("SignInit", init, key(privateKey)), call("Sign", part("pData")));
        Mechanism inParts = new Mechanism(CKM_SHA256_RSA_PKCS);
        assertArrive(() -> session.J_SignUpdate(h, true, inParts, privateKey, ARRAY, OFFSET, 16),
                call("SignInit", mechanism("CKM_SHA256_RSA_PKCS"), key(privateKey)), call("SignUpdate", part("pPart")));
        assertArrive(() -> session.J_SignFinal(blank(260), 4), call("SignFinal"));

        byte[] signature = bytes(256);
        byte[] signatures = around(3, signature, 1);
        assertArriveInVain(
                () -> session.J_Verify(h, true, RSA_PKCS, publicKey, ARRAY, OFFSET, 16, signatures, 3, 256),
                call("VerifyInit", init, key(publicKey)),
                call("Verify", part("pData"), "pSignature = " + hex(signature)));
        session.J_VerifyUpdate(h, true, inParts, publicKey, PART, 0, 16);
        assertArrive(() -> session.J_VerifyUpdate(h, false, null, 0, ARRAY, OFFSET, 16),
                call("VerifyUpdate", part("pPart")));
        assertArriveInVain(() -> session.J_VerifyFinal(signatures, 3, 256),
                call("VerifyFinal", "pSignature = " + hex(signature)));
    }

    @Test
    void recoverAndDualUpdates() {
        assertArriveInVain(() -> session.J_SignRecoverInit(RSA_PKCS, NO_KEY),
                call("SignRecoverInit", mechanism("CKM_RSA_PKCS"), key(NO_KEY)));
        assertArriveInVain(() -> session.J_SignRecover(ARRAY, OFFSET, 16), call("SignRecover", part("pData")));
        assertArriveInVain(() -> session.J_VerifyRecoverInit(RSA_PKCS, NO_KEY),
                call("VerifyRecoverInit", mechanism("CKM_RSA_PKCS"), key(NO_KEY)));
        assertArriveInVain(() -> session.J_VerifyRecover(ARRAY, OFFSET, 16),
                call("VerifyRecover", part("pSignature")));
        assertArriveInVain(() -> session.J_DigestEncryptUpdate(ARRAY, OFFSET, 16, null, 0),
                call("DigestEncryptUpdate", part("pPart")));
        assertArriveInVain(() -> session.J_DecryptDigestUpdate(ARRAY, OFFSET, 16, null, 0),
                call("DecryptDigestUpdate", part("pEncryptedPart")));
        assertArriveInVain(() -> session.J_SignEncryptUpdate(ARRAY, OFFSET, 16, null, 0),
                call("SignEncryptUpdate", part("pPart")));
        assertArriveInVain(() -> session.J_DecryptVerifyUpdate(ARRAY, OFFSET, 16, null, 0),
                call("DecryptVerifyUpdate", part("pEncryptedPart")));
    }

    @Test
    void keysAreGenerated() {
        Attribute[] template = {new Attribute(CKA_TOKEN, false), new Attribute(CKA_VALUE_LEN, 32)};
        assertArrive(() -> session.J_GenerateKey(new Mechanism(CKM_AES_KEY_GEN), template),
                call("GenerateKey", mechanism("CKM_AES_KEY_GEN"), "pTemplate.CKA_TOKEN = False",
                        "pTemplate.CKA_VALUE_LEN = " + ulong(32)));
        Attribute[] publicTemplate = {new Attribute(CKA_TOKEN, false), new Attribute(CKA_EC_PARAMS, PRIME256V1)};
        Attribute[] privateTemplate = {new Attribute(CKA_TOKEN, false), new Attribute(CKA_DERIVE, true),
            new Attribute(CKA_KEY_TYPE, CKK_EC)};
        assertArrive(
                () -> session.J_GenerateKeyPair(new Mechanism(CKM_EC_KEY_PAIR_GEN), publicTemplate, privateTemplate),
                call("GenerateKeyPair", mechanism("CKM_EC_KEY_PAIR_GEN"), "pPublicKeyTemplate.CKA_TOKEN = False",
                        "pPublicKeyTemplate.CKA_EC_PARAMS = " + hex(PRIME256V1),
                        "pPrivateKeyTemplate.CKA_TOKEN = False", "pPrivateKeyTemplate.CKA_DERIVE = True",
                        "pPrivateKeyTemplate.CKA_KEY_TYPE = CKK_EC"));
    }

    @Test
    void keysAreWrappedUnwrappedAndDerived() {
        long wrappingKey = secretKey(CKK_AES, bytes(32));
        long key = secretKey(CKK_GENERIC_SECRET, PART);
        Mechanism wrap = new Mechanism(CKM_AES_KEY_WRAP);
        assertEquals(call("WrapKey", mechanism("CKM_AES_KEY_WRAP"), handle("hWrappingKey", wrappingKey), key(key)),
                SpyLog.during(() -> session.J_WrapKey(wrap, wrappingKey, key)).get(0));
        Attribute[] template = {new Attribute(CKA_CLASS, CKO_SECRET_KEY), new Attribute(CKA_KEY_TYPE, CKK_AES)};
        String templateArrives = "pTemplate.CKA_CLASS = CKO_SECRET_KEY, pTemplate.CKA_KEY_TYPE = CKK_AES";
        assertArriveInVain(() -> session.J_UnwrapKey(wrap, wrappingKey, ARRAY, OFFSET, 16, template),
                call("UnwrapKey", mechanism("CKM_AES_KEY_WRAP"), handle("hUnwrappingKey", wrappingKey),
                        part("pWrappedKey"), templateArrives));
        assertArriveInVain(() -> session.J_DeriveKey(new Mechanism(CKM_EXTRACT_KEY_FROM_KEY, new EXTRACTParams(9)), key,
                template), call("DeriveKey", mechanism("CKM_EXTRACT_KEY_FROM_KEY", ulong(9)), handle("hBaseKey", key),
                templateArrives));
    }

    @Test
    void parametersHaveTheirLayout() {
        assertParameter(new Mechanism(CKM_RSA_PKCS_OAEP, new OAEPParams(CKM_SHA256, 2, CKZ_DATA_SPECIFIED, PART)),
                "pMechanism->type = CKM_RSA_PKCS_OAEP, pMechanism->pParameter->hashAlg = CKM_SHA256, "
                        + "pMechanism->pParameter->mgf = CKG_MGF1_SHA256, pMechanism->pParameter->source = 1, "
                        + part("pMechanism->pParameter->pSourceData"));
        assertParameter(new Mechanism(CKM_DES3_MAC_GENERAL, new MACGENERALParams(5)),
                mechanism("CKM_DES3_MAC_GENERAL", ulong(5)));
        assertParameter(new Mechanism(CKM_RC2_CBC, new RC2CBCParams(128, IV)),
                mechanism("CKM_RC2_CBC", ulong(128) + hex(IV)));
        int rc5MacGeneral = 0x334;
        assertParameter(new Mechanism(rc5MacGeneral, new RC5MACGENERALParams(4, 12, 8)),
                mechanism("CKM_RC5_MAC_GENERAL", ulong(4) + ulong(12) + ulong(8)));
        // What is documented to stay behind: the token gets an AES mechanism without its initialisation vector.
        assertParameter(new Mechanism(CKM_AES_CBC, bytes(16)), mechanism("CKM_AES_CBC"));
        assertParameter(new Mechanism(0x80000123), mechanism("0xFFFFFFFF80000123"));
    }

    private void assertParameter(Mechanism mechanism, String arrives) {
        assertArriveInVain(() -> session.J_DecryptInit(h, mechanism, NO_KEY),
                call("DecryptInit", arrives, key(NO_KEY)));
    }

    @Test
    void aSessionArgumentHasAllItsBits() {
        assertArriveInVain(() -> session.J_SignInit(0x0123_4567_89AB_CDEFL, RSA_PKCS, NO_KEY),
                "C_SignInit(hSession = 0x123456789abcdef, " + mechanism("CKM_RSA_PKCS") + ", " + key(NO_KEY) + ")");
    }
}
