package velnor;

import java.security.GeneralSecurityException;
import java.security.MessageDigest;
import java.security.SecureRandom;
import java.util.Arrays;

import javax.crypto.Mac;
import javax.crypto.spec.SecretKeySpec;

import velnor.nat.Function;

/**
 * Tells the operation states that a module gave from all other bytes. A state may hold addresses of the module's, so
 * one of another process, or of a module that was closed since, one that was cut short or changed, ends the process
 * (NSS). A state that is handed out ends in a seal, whose key is this opening's of this module and is kept nowhere
 * else.
 */
final class StateSeal {
    private static final String ALGORITHM = "HmacSHA256";
    private static final int BYTES = 32;

    private final byte[] key = new byte[BYTES];

    StateSeal() {
        new SecureRandom().nextBytes(key);
    }

    /** The state of a module with its seal behind it. */
    byte[] sealed(byte[] state, int length) {
        byte[] sealed = Arrays.copyOf(state, Math.addExact(length, BYTES));
        System.arraycopy(seal(state, length), 0, sealed, length, BYTES);
        return sealed;
    }

    /**
     * The state within a sealed one.
     *
     * @throws CryptokiException when the module that is open has not given it
     */
    byte[] opened(byte[] sealed) {
        int length = sealed.length - BYTES;
        if (length < 0 || !MessageDigest.isEqual(seal(sealed, length),
                Arrays.copyOfRange(sealed, length, sealed.length))) {
            throw Answers.failure(Function.SET_OPERATION_STATE, CKR.SAVED_STATE_INVALID);
        }
        return Arrays.copyOf(sealed, length);
    }

    private byte[] seal(byte[] state, int length) {
        try {
            Mac mac = Mac.getInstance(ALGORITHM);
            mac.init(new SecretKeySpec(key, ALGORITHM));
            mac.update(state, 0, length);
            return mac.doFinal();
        } catch (GeneralSecurityException e) {
            throw new IllegalStateException("The JDK has no " + ALGORITHM, e);
        }
    }
}
