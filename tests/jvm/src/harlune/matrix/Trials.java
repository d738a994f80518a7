package harlune.matrix;

import static harlune.support.Ck.*;
import static harlune.token.Bytes.blank;
import static harlune.token.Bytes.bytes;
import static harlune.token.Bytes.first;
import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assertions.fail;

import harlune.support.Tokens;

import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.function.Supplier;

import velnor.Attribute;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;

/**
 * Trials of some native methods on the token at hand. The calls that a trial is about go through {@link #call}, which
 * writes down whether the token did it; their results are then checked like those of any test. What merely has to be
 * there, such as a key, is called plainly, and a token that refuses it ends the trial without an outcome.
 */
abstract class Trials {
    /** A trial in a session of its own, the user logged in. */
    interface Trial {
        void run() throws Exception;
    }

    record Planned(Trials trials, String what, String with, boolean inSession, Trial trial) {
    }

    protected final Outcomes outcomes;
    protected final NativeCryptoki cryptoki;
    protected NativeSlot slot;
    protected NativeSession session;
    /** The session's handle, for the methods that take it as an argument. */
    protected long h;
    private final List<Planned> planned = new ArrayList<>();
    private String with;
    /** Whether the token has done something in this trial: from then on every result has to be right. */
    private boolean done;

    Trials(NativeCryptoki cryptoki, Outcomes outcomes) {
        this.cryptoki = cryptoki;
        this.outcomes = outcomes;
        slot = Tokens.slot(cryptoki, Tokens.LABEL);
    }

    /** Says what there is to try on this token. */
    abstract void plan();

    List<Planned> planned() {
        plan();
        return planned;
    }

    protected final void trial(String what, String with, Trial trial) {
        planned.add(new Planned(this, what, with, true, trial));
    }

    protected final void trialWithoutSession(String what, Trial trial) {
        planned.add(new Planned(this, what, "", false, trial));
    }

    /** Runs a trial; what it leaves behind ends with its session. */
    final void run(Planned planned) throws Exception {
        with = planned.with;
        done = false;
        slot = Tokens.slot(cryptoki, Tokens.LABEL);
        try {
            if (planned.inSession) {
                openSession();
            }
            planned.trial.run();
        } catch (Refused e) {
            System.out.println("Refused: " + e.getCause().getMessage());
        } catch (CryptokiException e) {
            assertFalse(done, () -> "what was done could not be checked: " + e.getMessage());
            System.out.println("Nothing to try it with: " + e.getMessage());
        } finally {
            slot.J_CloseAllSessions();
        }
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

    /** Makes the call of a native method that a trial is about. A refusal ends the trial. */
    protected final <T> T call(String method, Supplier<T> call) {
        return call(method, with, call);
    }

    protected final <T> T call(String method, String with, Supplier<T> call) {
        try {
            T result = call.get();
            Class<?> type = NativeMethods.all().get(method).getReturnType();
            assertTrue(result == null || wrapper(type).isInstance(result),
                    () -> method + " did not give a " + type.getSimpleName());
            outcomes.put(method, with, Outcomes.OK);
            done = true;
            return result;
        } catch (CryptokiException e) {
            outcomes.put(method, with, Outcomes.refusal(method, e));
            throw new Refused(e);
        }
    }

    protected final void run(String method, Runnable call) {
        run(method, with, call);
    }

    protected final void run(String method, String with, Runnable call) {
        assertEquals(void.class, NativeMethods.all().get(method).getReturnType(), method);
        call(method, with, () -> {
            call.run();
            return null;
        });
    }

    /** Makes a call that a token must not accept. */
    protected final void mustRefuse(String method, String with, Runnable call) {
        try {
            call.run();
        } catch (CryptokiException e) {
            outcomes.put(method, with, Outcomes.REFUSES + Outcomes.refusal(method, e));
            return;
        }
        fail(method + " accepted " + with);
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
