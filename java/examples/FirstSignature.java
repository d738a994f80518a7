import java.math.BigInteger;
import java.nio.charset.StandardCharsets;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKM;
import velnor.CKO;
import velnor.Cryptoki;
import velnor.CryptokiException;
import velnor.Info;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenInfo;
import velnor.TokenKeyPair;
import velnor.TokenObject;
import velnor.TokenSlot;

/**
 * From a module's file name to a signature and back: finds the token, makes a key pair on it, finds the pair again by
 * template, signs, verifies, and shows what a forged message meets.
 *
 * <p>Usage: {@code FirstSignature MODULE LABEL}, the PIN in the environment variable {@code TOKEN_PIN}.
 */
public final class FirstSignature {
    private static final Mechanism SHA256_RSA_PKCS = new Mechanism(CKM.SHA256_RSA_PKCS);
    private static final Attribute LABEL = new Attribute(CKA.LABEL, "first signature");
    private static final Attribute ID = new Attribute(CKA.ID, new byte[] {0x20, 0x26});

    private FirstSignature() {}

    public static void main(String[] arguments) {
        if (arguments.length != 2 || System.getenv("TOKEN_PIN") == null) {
            System.err.println("Usage: TOKEN_PIN=... FirstSignature MODULE LABEL");
            System.exit(2);
        }
        try (Cryptoki cryptoki = Cryptoki.open(arguments[0])) {
            Info info = cryptoki.info();
            say("Module", "%s, Cryptoki %s, bridge %s", info.libraryDescription(), info.cryptokiVersion(),
                    info.libraryVersion());
            TokenSlot slot = cryptoki.tokenByLabel(arguments[1]);
            TokenInfo token = slot.tokenInfo();
            say("Token", "\"%s\" by %s, model %s, serial number %s", token.label(), token.manufacturerID(),
                    token.model(), token.serialNumber());
            try (Session session = slot.openSession()) {
                session.login(System.getenv("TOKEN_PIN"));
                say("Session", "%s", session.info());
                signAndVerify(session);
            }
        }
    }

    private static void signAndVerify(Session session) {
        TokenKeyPair pair = session.generateKeyPair(new Mechanism(CKM.RSA_PKCS_KEY_PAIR_GEN),
                new Attribute[] {
                    new Attribute(CKA.TOKEN, true),
                    LABEL,
                    ID,
                    new Attribute(CKA.VERIFY, true),
                    new Attribute(CKA.MODULUS_BITS, 2048),
                    new Attribute(CKA.PUBLIC_EXPONENT, new byte[] {1, 0, 1}),
                },
                new Attribute[] {
                    new Attribute(CKA.TOKEN, true),
                    LABEL,
                    ID,
                    new Attribute(CKA.SIGN, true),
                    new Attribute(CKA.SENSITIVE, true),
                    new Attribute(CKA.EXTRACTABLE, false),
                });
        say("Key pair", "RSA 2048, public key %d, private key %d", pair.publicKey().handle(),
                pair.privateKey().handle());

        TokenObject privateKey = session.findOne(new Attribute(CKA.CLASS, CKO.PRIVATE_KEY), ID);
        TokenObject publicKey = session.findOne(new Attribute(CKA.CLASS, CKO.PUBLIC_KEY), ID);
        BigInteger modulus = new BigInteger(1, publicKey.attribute(CKA.MODULUS).bytesValue());
        say("Found again", "private key %d; public key %d, \"%s\", modulus of %d bits", privateKey.handle(),
                publicKey.handle(), publicKey.label(), modulus.bitLength());

        byte[] message = "Pay Alice 100".getBytes(StandardCharsets.UTF_8);
        byte[] signature = session.sign(SHA256_RSA_PKCS, privateKey, message);
        say("Signature", "%s... (%d bytes) of \"Pay Alice 100\"",
                new BigInteger(1, signature).toString(16).substring(0, 32), signature.length);

        session.verify(SHA256_RSA_PKCS, publicKey, message, signature);
        say("Verified", "the token accepts it");

        byte[] forged = "Pay Mallory 9".getBytes(StandardCharsets.UTF_8);
        try {
            session.verify(SHA256_RSA_PKCS, publicKey, forged, signature);
            throw new IllegalStateException("the token accepted a forgery");
        } catch (CryptokiException refused) {
            say("Forgery", "\"Pay Mallory 9\" is refused: %s", refused.getMessage());
        }

        publicKey.destroy();
        privateKey.destroy();
        say("Cleaned up", "%s", session.find(ID).isEmpty() ? "both keys are gone" : "a key is left behind");
    }

    private static void say(String what, String format, Object... values) {
        System.out.printf("%-12s %s%n", what, String.format(format, values));
    }
}
