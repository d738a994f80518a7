import java.math.BigInteger;
import java.nio.charset.StandardCharsets;

import velnor.Attribute;
import velnor.CryptokiException;
import velnor.CryptokiObject;
import velnor.Info;
import velnor.Mechanism;
import velnor.TokenInfo;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;
import velnor.nat.NativeSlot;

/**
 * From a module's file name to a signature and back: finds the token, makes a key pair on it, finds the pair again by
 * template, signs, verifies, and shows what a forged message meets.
 *
 * <p>Usage: {@code FirstSignature LIBRARY MODULE LABEL}, the PIN in the environment variable {@code TOKEN_PIN}.
 */
public final class FirstSignature {
    private static final int CKF_RW_SESSION = 0x2;
    private static final int CKF_SERIAL_SESSION = 0x4;
    private static final byte CKU_USER = 1;
    private static final int CKM_RSA_PKCS_KEY_PAIR_GEN = 0x0;
    private static final int CKM_SHA256_RSA_PKCS = 0x40;
    private static final int CKA_CLASS = 0x0;
    private static final int CKA_TOKEN = 0x1;
    private static final int CKA_LABEL = 0x3;
    private static final int CKA_ID = 0x102;
    private static final int CKA_SENSITIVE = 0x103;
    private static final int CKA_SIGN = 0x108;
    private static final int CKA_VERIFY = 0x10A;
    private static final int CKA_MODULUS = 0x120;
    private static final int CKA_MODULUS_BITS = 0x121;
    private static final int CKA_PUBLIC_EXPONENT = 0x122;
    private static final int CKA_EXTRACTABLE = 0x162;
    private static final int CKO_PUBLIC_KEY = 2;
    private static final int CKO_PRIVATE_KEY = 3;

    private static final byte[] KEY_ID = {0x20, 0x26};

    private FirstSignature() {}

    public static void main(String[] arguments) {
        if (arguments.length != 3 || System.getenv("TOKEN_PIN") == null) {
            System.err.println("Usage: TOKEN_PIN=... FirstSignature LIBRARY MODULE LABEL");
            System.exit(2);
        }
        System.load(arguments[0]);
        NativeCryptoki.loadCryptokiLibrary(arguments[1]);
        NativeCryptoki cryptoki = new NativeCryptoki();
        cryptoki.Initialize(null);
        try {
            Info info = cryptoki.GetInfo();
            say("Module", "%s, Cryptoki %s, bridge %s", info.libraryDescription(), info.cryptokiVersion(),
                    info.libraryVersion());
            NativeSlot slot = findToken(cryptoki, arguments[2]);
            NativeSession session = slot.J_OpenSession(
                    CKF_SERIAL_SESSION | CKF_RW_SESSION, CKU_USER, System.getenv("TOKEN_PIN"));
            say("Session", "%s", session.J_GetSessionInfo());
            try {
                signAndVerify(session);
            } finally {
                session.J_CloseSession();
            }
        } finally {
            cryptoki.Finalize(null);
        }
    }

    private static NativeSlot findToken(NativeCryptoki cryptoki, String label) {
        for (NativeSlot slot : cryptoki.GetSlotList(true)) {
            TokenInfo token = slot.J_GetTokenInfo();
            if (token.label().equals(label)) {
                say("Token", "\"%s\" by %s, model %s, serial number %s", token.label(), token.manufacturerID(),
                        token.model(), token.serialNumber());
                return slot;
            }
        }
        throw new IllegalStateException("No token has the label " + label);
    }

    private static void signAndVerify(NativeSession session) {
        long handle = session.sessionHandle();
        long[] pair = session.J_GenerateKeyPair(new Mechanism(CKM_RSA_PKCS_KEY_PAIR_GEN),
                new Attribute[] {
                    new Attribute(CKA_TOKEN, true),
                    new Attribute(CKA_LABEL, "first signature"),
                    new Attribute(CKA_ID, KEY_ID),
                    new Attribute(CKA_VERIFY, true),
                    new Attribute(CKA_MODULUS_BITS, 2048),
                    new Attribute(CKA_PUBLIC_EXPONENT, new byte[] {1, 0, 1}),
                },
                new Attribute[] {
                    new Attribute(CKA_TOKEN, true),
                    new Attribute(CKA_LABEL, "first signature"),
                    new Attribute(CKA_ID, KEY_ID),
                    new Attribute(CKA_SIGN, true),
                    new Attribute(CKA_SENSITIVE, true),
                    new Attribute(CKA_EXTRACTABLE, false),
                });
        say("Key pair", "RSA 2048, public key %d, private key %d", pair[0], pair[1]);

        long privateKey = find(session, CKO_PRIVATE_KEY)[0];
        CryptokiObject publicKey = session.J_FindObjects(
                template(CKO_PUBLIC_KEY), new int[] {CKA_LABEL, CKA_MODULUS})[0];
        byte[] label = publicKey.attribute(CKA_LABEL).bytesValue();
        byte[] modulus = publicKey.attribute(CKA_MODULUS).bytesValue();
        say("Found again", "private key %d; public key %d, \"%s\", modulus of %d bits", privateKey,
                publicKey.handle(), new String(label, StandardCharsets.UTF_8), new BigInteger(1, modulus).bitLength());

        byte[] message = "Pay Alice 100".getBytes(StandardCharsets.UTF_8);
        Mechanism mechanism = new Mechanism(CKM_SHA256_RSA_PKCS);
        byte[] signature = session.J_Sign(handle, true, mechanism, privateKey, message, 0, message.length);
        say("Signature", "%s... (%d bytes) of \"Pay Alice 100\"",
                new BigInteger(1, signature).toString(16).substring(0, 32), signature.length);

        session.J_Verify(handle, true, mechanism, publicKey.handle(), message, 0, message.length, signature, 0,
                signature.length);
        say("Verified", "the token accepts it");

        byte[] forged = "Pay Mallory 9".getBytes(StandardCharsets.UTF_8);
        try {
            session.J_Verify(handle, true, mechanism, publicKey.handle(), forged, 0, forged.length, signature, 0,
                    signature.length);
            throw new IllegalStateException("the token accepted a forgery");
        } catch (CryptokiException refused) {
            say("Forgery", "\"Pay Mallory 9\" is refused: %s", refused.getMessage());
        }

        session.J_DestroyObject(pair[0]);
        session.J_DestroyObject(pair[1]);
        say("Cleaned up", "%s", session.J_FindObjects(template(CKO_PRIVATE_KEY)) == null
                ? "both keys are gone" : "a key is left behind");
    }

    private static long[] find(NativeSession session, int objectClass) {
        return session.J_FindObjects(template(objectClass));
    }

    private static Attribute[] template(int objectClass) {
        return new Attribute[] {new Attribute(CKA_CLASS, objectClass), new Attribute(CKA_ID, KEY_ID)};
    }

    private static void say(String what, String format, Object... values) {
        System.out.printf("%-12s %s%n", what, String.format(format, values));
    }
}
