import java.nio.charset.StandardCharsets;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKM;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenKeyPair;
import velnor.TokenObject;
import velnor.params.GCMParams;
import velnor.params.PSSParams;

/**
 * Mechanisms with parameters: encrypts with AES-GCM, signs with RSA-PSS, and shows what becomes of forgeries. The keys
 * are made for this session and are gone with it.
 *
 * <p>Usage: {@code EncryptAndSign MODULE TOKEN}, the token by its label, the PIN in the environment variable {@code
 * TOKEN_PIN}.
 */
public final class EncryptAndSign {
    private static final byte[] MESSAGE = "Pay Alice 100".getBytes(StandardCharsets.UTF_8);
    /** Goes along unencrypted, and cannot be changed without notice. */
    private static final byte[] HEADER = "order 7".getBytes(StandardCharsets.UTF_8);

    private EncryptAndSign() {}

    public static void main(String[] arguments) {
        if (arguments.length != 2 || System.getenv("TOKEN_PIN") == null) {
            System.err.println("Usage: TOKEN_PIN=... EncryptAndSign MODULE TOKEN");
            System.exit(2);
        }
        try (Cryptoki cryptoki = Cryptoki.open(arguments[0]);
                Session session = cryptoki.tokenByLabel(arguments[1]).openSession()) {
            session.login(System.getenv("TOKEN_PIN"));
            encrypt(session);
            sign(session);
        }
    }

    private static void encrypt(Session session) {
        TokenObject key = session.generateKey(new Mechanism(CKM.AES_KEY_GEN), new Attribute(CKA.VALUE_LEN, 32),
                new Attribute(CKA.ENCRYPT, true), new Attribute(CKA.DECRYPT, true));
        // A vector must never be used twice with the same key.
        Mechanism gcm = new Mechanism(CKM.AES_GCM, new GCMParams(session.random(12), HEADER, 128));
        byte[] encrypted = session.encrypt(gcm, key, MESSAGE);
        System.out.println(MESSAGE.length + " bytes encrypted, " + encrypted.length + " with the tag");
        System.out.println("decrypted: " + new String(session.decrypt(gcm, key, encrypted), StandardCharsets.UTF_8));

        encrypted[0] ^= 1;
        try {
            session.decrypt(gcm, key, encrypted);
            throw new IllegalStateException("the token decrypted a forgery");
        } catch (CryptokiException refused) {
            System.out.println("a forged ciphertext is refused");
        }
    }

    private static void sign(Session session) {
        TokenKeyPair pair = session.generateKeyPair(new Mechanism(CKM.RSA_PKCS_KEY_PAIR_GEN),
                new Attribute[] {new Attribute(CKA.MODULUS_BITS, 2048), new Attribute(CKA.VERIFY, true)},
                new Attribute[] {new Attribute(CKA.SIGN, true)});
        Mechanism pss = new Mechanism(CKM.SHA256_RSA_PKCS_PSS, PSSParams.of("SHA-256"));
        byte[] signature = session.sign(pss, pair.privateKey(), MESSAGE);
        session.verify(pss, pair.publicKey(), MESSAGE, signature);
        System.out.println("a signature of " + signature.length + " bytes is valid");

        signature[0] ^= 1;
        System.out.println("a forged signature is " + (session.isValid(pss, pair.publicKey(), MESSAGE, signature)
                ? "accepted" : "refused"));
    }
}
