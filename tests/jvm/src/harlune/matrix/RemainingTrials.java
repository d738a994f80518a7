package harlune.matrix;

import static harlune.support.Ck.*;
import static harlune.token.Bytes.bytes;

import java.util.LinkedHashMap;
import java.util.Map;
import java.util.Set;

import velnor.Attribute;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.nat.NativeCryptoki;

/**
 * Native methods that this token gave nothing to do: called all the same, without an operation or with an object that
 * is not there. Its answer tells a function that the token lacks from one that had nothing to work on.
 */
final class RemainingTrials extends NativeTrials {
    private static final byte[] DATA = bytes(32);
    private static final long NO_OBJECT = 0x7FFFFF;
    /** What tokens answer about operations and objects that are not there. */
    private static final Set<String> NOTHING_THERE = Set.of("OPERATION_NOT_INITIALIZED", "KEY_HANDLE_INVALID",
            "OBJECT_HANDLE_INVALID", "UNWRAPPING_KEY_HANDLE_INVALID", "WRAPPING_KEY_HANDLE_INVALID");
    private static final Mechanism RSA_PKCS = new Mechanism(CKM_RSA_PKCS);
    private static final Mechanism AES_ECB = new Mechanism(CKM_AES_ECB);

    RemainingTrials(NativeCryptoki cryptoki, Outcomes outcomes) {
        super(cryptoki, outcomes);
    }

    @Override
    void plan() {
        trial("what is left", "", this::callTheRest);
    }

    private void callTheRest() {
        Map<String, Runnable> calls = new LinkedHashMap<>();
        Attribute[] none = {};
        Attribute[] key = {attribute(CKA_CLASS, CKO_SECRET_KEY), attribute(CKA_KEY_TYPE, CKK_AES),
            attribute(CKA_TOKEN, false), attribute(CKA_VALUE_LEN, 16)};
        calls.put("J_CopyObject", () -> session.J_CopyObject(NO_OBJECT, none));
        calls.put("J_DestroyObject", () -> session.J_DestroyObject(NO_OBJECT));
        calls.put("J_GetObjectSize", () -> session.J_GetObjectSize(NO_OBJECT));
        calls.put("J_SetAttributeValue", () -> session.J_SetAttributeValue(NO_OBJECT, key));
        calls.put("byte[] J_Encrypt", () -> session.J_Encrypt(h, true, AES_ECB, NO_OBJECT, DATA, 0, 32));
        calls.put("int J_Encrypt", () -> session.J_Encrypt(h, true, AES_ECB, NO_OBJECT, DATA, 0, 32, null, 0));
        calls.put("byte[] J_EncryptUpdate", () -> session.J_EncryptUpdate(h, true, AES_ECB, NO_OBJECT, DATA, 0, 32));
        calls.put("int J_EncryptUpdate",
                () -> session.J_EncryptUpdate(h, true, AES_ECB, NO_OBJECT, DATA, 0, 32, null, 0));
        calls.put("byte[] J_EncryptFinal", () -> session.J_EncryptFinal());
        calls.put("int J_EncryptFinal", () -> session.J_EncryptFinal(null, 0));
        calls.put("J_DecryptInit", () -> session.J_DecryptInit(h, AES_ECB, NO_OBJECT));
        calls.put("J_Decrypt", () -> session.J_Decrypt(h, true, AES_ECB, NO_OBJECT, DATA, 0, 32));
        calls.put("byte[] J_DecryptUpdate", () -> session.J_DecryptUpdate(h, true, AES_ECB, NO_OBJECT, DATA, 0, 32));
        calls.put("int J_DecryptUpdate",
                () -> session.J_DecryptUpdate(h, true, AES_ECB, NO_OBJECT, DATA, 0, 32, null, 0));
        calls.put("byte[] J_DecryptFinal", () -> session.J_DecryptFinal());
        calls.put("int J_DecryptFinal", () -> session.J_DecryptFinal(null, 0));
        calls.put("byte[] J_Digest", () -> session.J_Digest(h, false, null, DATA, 0, 32));
        calls.put("int J_Digest", () -> session.J_Digest(h, false, null, DATA, 0, 32, null, 0));
        calls.put("J_DigestUpdate", () -> session.J_DigestUpdate(h, false, null, DATA, 0, 32));
        calls.put("J_DigestKey", () -> session.J_DigestKey(h, false, null, NO_OBJECT));
        calls.put("byte[] J_DigestFinal", () -> session.J_DigestFinal());
        calls.put("int J_DigestFinal", () -> session.J_DigestFinal(null, 0));
        calls.put("J_SignUpdate", () -> session.J_SignUpdate(h, true, RSA_PKCS, NO_OBJECT, DATA, 0, 32));
        calls.put("byte[] J_SignFinal", () -> session.J_SignFinal());
        calls.put("int J_SignFinal", () -> session.J_SignFinal(null, 0));
        calls.put("J_SignRecoverInit", () -> session.J_SignRecoverInit(RSA_PKCS, NO_OBJECT));
        calls.put("byte[] J_SignRecover", () -> session.J_SignRecover(DATA, 0, 32));
        calls.put("int J_SignRecover", () -> session.J_SignRecover(DATA, 0, 32, null, 0));
        calls.put("J_Verify", () -> session.J_Verify(h, true, RSA_PKCS, NO_OBJECT, DATA, 0, 32, DATA, 0, 32));
        calls.put("J_VerifyUpdate", () -> session.J_VerifyUpdate(h, true, RSA_PKCS, NO_OBJECT, DATA, 0, 32));
        calls.put("J_VerifyFinal", () -> session.J_VerifyFinal(DATA, 0, 32));
        calls.put("J_VerifyRecoverInit", () -> session.J_VerifyRecoverInit(RSA_PKCS, NO_OBJECT));
        calls.put("byte[] J_VerifyRecover", () -> session.J_VerifyRecover(DATA, 0, 32));
        calls.put("int J_VerifyRecover", () -> session.J_VerifyRecover(DATA, 0, 32, null, 0));
        calls.put("J_DigestEncryptUpdate", () -> session.J_DigestEncryptUpdate(DATA, 0, 32, null, 0));
        calls.put("J_DecryptDigestUpdate", () -> session.J_DecryptDigestUpdate(DATA, 0, 32, null, 0));
        calls.put("J_SignEncryptUpdate", () -> session.J_SignEncryptUpdate(DATA, 0, 32, null, 0));
        calls.put("J_DecryptVerifyUpdate", () -> session.J_DecryptVerifyUpdate(DATA, 0, 32, null, 0));
        calls.put("J_GetOperationState", () -> session.J_GetOperationState());
        calls.put("J_SetOperationState", () -> session.J_SetOperationState(DATA, 0, 0));
        calls.put("J_GenerateKey", () -> session.J_GenerateKey(new Mechanism(CKM_AES_KEY_GEN), key));
        calls.put("J_GenerateKeyPair",
                () -> session.J_GenerateKeyPair(new Mechanism(CKM_RSA_PKCS_KEY_PAIR_GEN), none, none));
        calls.put("J_WrapKey", () -> session.J_WrapKey(RSA_PKCS, NO_OBJECT, NO_OBJECT));
        calls.put("J_UnwrapKey", () -> session.J_UnwrapKey(RSA_PKCS, NO_OBJECT, DATA, 0, 32, key));
        calls.put("J_DeriveKey", () -> session.J_DeriveKey(new Mechanism(CKM_ECDH1_DERIVE), NO_OBJECT, key));
        calls.forEach((method, call) -> {
            if (!outcomes.has(method)) {
                answer(method, call);
            }
        });
    }

    private void answer(String method, Runnable call) {
        try {
            call.run();
            throw new AssertionError(method + " found something to do");
        } catch (CryptokiException e) {
            String refusal = Outcomes.refusal(method, e);
            boolean nothingThere = NOTHING_THERE.contains(refusal.substring(refusal.indexOf(' ') + 1));
            outcomes.put(method, "", nothingThere ? Outcomes.NOTHING + refusal : refusal);
        }
    }
}
