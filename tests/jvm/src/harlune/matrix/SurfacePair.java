package harlune.matrix;

import java.security.GeneralSecurityException;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.PrivateKey;
import java.security.PublicKey;
import java.security.spec.ECGenParameterSpec;
import java.util.List;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CKM;
import velnor.CKO;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.ObjectTemplates;
import velnor.Session;
import velnor.TokenKeyPair;
import velnor.TokenObject;

/**
 * A key pair on the token, with what the JDK knows of it: a pair of the JDK's own where the token takes keys, one that
 * lies on the token already (a card's), or one that the token makes; the JDK then has the public key alone.
 */
record SurfacePair(TokenObject publicKey, TokenObject privateKey, PublicKey jdkPublicKey, PrivateKey jdkPrivateKey) {
    static final Attribute P256 = new Attribute(CKA.EC_PARAMS, EcPair.P256);
    private static final Attribute ON_TOKEN = new Attribute(CKA.TOKEN, true);
    private static final Attribute IN_SESSION = new Attribute(CKA.TOKEN, false);
    private static final Attribute PRIVATE = new Attribute(CKA.PRIVATE, true);
    private static final Attribute SIGN = new Attribute(CKA.SIGN, true);
    private static final Attribute VERIFY = new Attribute(CKA.VERIFY, true);
    private static KeyPair jdkRsa;

    static SurfacePair rsa(Session session) throws GeneralSecurityException {
        if (jdkRsa == null) {
            KeyPairGenerator generator = KeyPairGenerator.getInstance("RSA");
            generator.initialize(2048);
            jdkRsa = generator.generateKeyPair();
        }
        Attribute id = new Attribute(CKA.ID, new byte[] {'r', 's', 'a'});
        Attribute encrypt = new Attribute(CKA.ENCRYPT, true);
        Attribute decrypt = new Attribute(CKA.DECRYPT, true);
        Attribute[] publicUses = {IN_SESSION, id, VERIFY, encrypt, new Attribute(CKA.WRAP, true)};
        Attribute[] privateUses = {IN_SESSION, id, PRIVATE, SIGN, decrypt, new Attribute(CKA.UNWRAP, true)};
        try {
            return imported(session, jdkRsa, publicUses, privateUses);
        } catch (CryptokiException e) {
            SurfacePair found = onToken(session, CKK.RSA);
            return found != null ? found : of(session.generateKeyPair(new Mechanism(CKM.RSA_PKCS_KEY_PAIR_GEN),
                    new Attribute[] {ON_TOKEN, id, VERIFY, encrypt, new Attribute(CKA.MODULUS_BITS, 2048),
                        new Attribute(CKA.PUBLIC_EXPONENT, new byte[] {1, 0, 1})},
                    new Attribute[] {ON_TOKEN, id, PRIVATE, SIGN, decrypt}));
        }
    }

    /** A pair on the curve P-256. */
    static SurfacePair ec(Session session) throws GeneralSecurityException {
        Attribute id = new Attribute(CKA.ID, new byte[] {'e', 'c'});
        try {
            return imported(session, jdkEc(), new Attribute[] {IN_SESSION, id, VERIFY},
                    new Attribute[] {IN_SESSION, id, PRIVATE, SIGN, new Attribute(CKA.DERIVE, true)});
        } catch (CryptokiException e) {
            SurfacePair found = onToken(session, CKK.EC);
            return found != null ? found : of(session.generateKeyPair(new Mechanism(CKM.EC_KEY_PAIR_GEN),
                    new Attribute[] {ON_TOKEN, id, VERIFY, P256}, new Attribute[] {ON_TOKEN, id, PRIVATE, SIGN}));
        }
    }

    static KeyPair jdkEc() throws GeneralSecurityException {
        KeyPairGenerator generator = KeyPairGenerator.getInstance("EC");
        generator.initialize(new ECGenParameterSpec("secp256r1"));
        return generator.generateKeyPair();
    }

    private static SurfacePair imported(Session session, KeyPair pair, Attribute[] publicUses,
            Attribute[] privateUses) {
        TokenObject privateKey = session.createObject(ObjectTemplates.of(pair.getPrivate(), privateUses));
        TokenObject publicKey = session.createObject(ObjectTemplates.of(pair.getPublic(), publicUses));
        return new SurfacePair(publicKey, privateKey, pair.getPublic(), pair.getPrivate());
    }

    private static SurfacePair onToken(Session session, int keyType) {
        List<TokenObject> found = session.find(new Attribute(CKA.CLASS, CKO.PRIVATE_KEY),
                new Attribute(CKA.KEY_TYPE, keyType), SIGN);
        if (found.isEmpty()) {
            return null;
        }
        TokenObject privateKey = found.get(0);
        TokenObject publicKey = session.findOne(new Attribute(CKA.CLASS, CKO.PUBLIC_KEY),
                new Attribute(CKA.ID, privateKey.id()));
        return new SurfacePair(publicKey, privateKey, publicKey.publicKey(), null);
    }

    static SurfacePair of(TokenKeyPair pair) {
        return new SurfacePair(pair.publicKey(), pair.privateKey(), pair.publicKey().publicKey(), null);
    }

    boolean isTheJdks() {
        return jdkPrivateKey != null;
    }
}
