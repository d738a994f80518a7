package harlune.matrix;

import static harlune.support.Ck.*;
import static harlune.token.Bytes.blank;
import static harlune.token.Bytes.bytes;
import static harlune.token.Bytes.first;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Tokens;

import java.util.Arrays;
import java.util.function.Supplier;

import velnor.Attribute;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;

/** Trials of some native methods on the token at hand: a row of the table is a native method. */
abstract class NativeTrials extends Trials {
    protected final NativeCryptoki cryptoki;
    protected NativeSlot slot;
    protected NativeSession session;
    /** The session's handle, for the methods that take it as an argument. */
    protected long h;

    NativeTrials(NativeCryptoki cryptoki, Outcomes outcomes) {
        super(outcomes);
        this.cryptoki = cryptoki;
        slot = Tokens.slot(cryptoki, Tokens.LABEL);
    }

    @Override
    void begin(boolean inSession) {
        slot = Tokens.slot(cryptoki, Tokens.LABEL);
        if (inSession) {
            openSession();
        }
    }

    @Override
    void end() {
        slot.J_CloseAllSessions();
    }

    @Override
    String refusal(String method, CryptokiException refused) {
        return Outcomes.refusal(method, refused);
    }

    @Override
    void checkResult(String method, Object result) {
        Class<?> type = NativeMethods.all().get(method).getReturnType();
        assertTrue(result == null || wrapper(type).isInstance(result),
                () -> method + " did not give a " + type.getSimpleName());
    }

    protected final void trialWithoutSession(String what, Trial trial) {
        trialWithoutSession(what, "", trial);
    }

    private void openSession() {
        use(slot.J_OpenSession(CKF_SERIAL_SESSION | CKF_RW_SESSION, CKU_USER, Tokens.PIN));
    }

    /** Goes on in a session without history: a TPM keeps few keys at hand, and those of a session until its end. */
    protected final void beginAnew() {
        slot.J_CloseAllSessions();
        openSession();
    }

    protected final void use(NativeSession opened) {
        session = opened;
        h = opened.sessionHandle();
    }

    protected final <T> T call(String method, Supplier<T> call) {
        return call(method, running().with(), call);
    }

    protected final void run(String method, Runnable call) {
        run(method, running().with(), call);
    }

    protected final void run(String method, String with, Runnable call) {
        assertEquals(void.class, NativeMethods.all().get(method).getReturnType(), method);
        call(method, with, () -> {
            call.run();
            return null;
        });
    }

    private static Class<?> wrapper(Class<?> type) {
        return type == int.class ? Integer.class : type == long.class ? Long.class
                : type == boolean.class ? Boolean.class : type;
    }

    /** Whether the token says that it has the mechanism, for all these uses. */
    protected final boolean can(int mechanism, int uses) {
        try {
            return (slot.J_GetMechanismInfo(mechanism).flags() & uses) == uses;
        } catch (CryptokiException e) {
            // SoftHSM names key sizes that no Java int holds; it has the mechanism then.
            return e.functionName().equals("Check64BitLen");
        }
    }

    protected static Mechanism mechanism(int mechanism) {
        return new Mechanism(mechanism);
    }

    protected static Attribute attribute(int type, Object value) {
        return new Attribute(type, value);
    }

    /** A session key of known value, usable for everything. */
    protected final long secretKey(int keyType, byte[] value) {
        return session.J_CreateObject(new Attribute[] {
            attribute(CKA_CLASS, CKO_SECRET_KEY),
            attribute(CKA_KEY_TYPE, keyType),
            attribute(CKA_TOKEN, false),
            attribute(CKA_SENSITIVE, false),
            attribute(CKA_EXTRACTABLE, true),
            attribute(CKA_ENCRYPT, true),
            attribute(CKA_DECRYPT, true),
            attribute(CKA_SIGN, true),
            attribute(CKA_VERIFY, true),
            attribute(CKA_WRAP, true),
            attribute(CKA_UNWRAP, true),
            attribute(CKA_DERIVE, true),
            attribute(CKA_VALUE, value),
        });
    }

    /** A secret key: its value where the token tells it, or else null. */
    protected record Secret(long handle, byte[] value) {
    }

    /** An AES key whose value the JDK knows, or, on a token that takes no keys, one of the token's own. */
    protected final Secret aesKey() {
        byte[] value = bytes(16);
        try {
            return new Secret(secretKey(CKK_AES, value), value);
        } catch (CryptokiException e) {
            return new Secret(session.J_GenerateKey(mechanism(CKM_AES_KEY_GEN), new Attribute[] {
                attribute(CKA_TOKEN, true),
                attribute(CKA_ENCRYPT, true),
                attribute(CKA_DECRYPT, true),
                attribute(CKA_VALUE_LEN, 16),
            }), null);
        }
    }

    /** What was written into a {@link harlune.token.Bytes#blank} array; what lies in front of it must be as it was. */
    protected static byte[] written(byte[] output, int offset, int length) {
        assertArrayEquals(blank(offset), first(output, offset));
        return Arrays.copyOfRange(output, offset, offset + length);
    }
}
