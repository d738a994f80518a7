package harlune.jca;

import harlune.support.Bridge;
import harlune.support.Tokens;

import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.KeyStore;
import java.security.Provider;
import java.security.Security;
import java.security.spec.ECGenParameterSpec;
import java.util.List;

import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeEach;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKO;
import velnor.Cryptoki;
import velnor.Session;
import velnor.TokenObject;
import velnor.TokenSlot;
import velnor.jca.HarluneProvider;

/** The provider of the token that the test was started beside. */
abstract class JcaToken {
    static final KeyPair RSA = pair("RSA", 2048);
    static final KeyPair EC = pair("EC", "secp256r1");

    Cryptoki cryptoki;
    TokenSlot slot;
    HarluneProvider provider;

    static KeyPair pair(String algorithm, Object size) {
        try {
            KeyPairGenerator generator = KeyPairGenerator.getInstance(algorithm);
            if (size instanceof Integer bits) {
                generator.initialize(bits);
            } else if (size != null) {
                generator.initialize(new ECGenParameterSpec((String) size));
            }
            return generator.generateKeyPair();
        } catch (Exception e) {
            throw new AssertionError(e);
        }
    }

    @BeforeEach
    void open() throws Exception {
        Bridge.load();
        cryptoki = Cryptoki.open(Tokens.MODULE);
        slot = cryptoki.tokenByLabel(Tokens.LABEL);
        provider = new HarluneProvider(slot);
        provider.login(Tokens.PIN.toCharArray());
        destroyAll();
    }

    @AfterEach
    void close() {
        try {
            destroyAll();
        } finally {
            cryptoki.close();
        }
    }

    /** A token outlives its test. */
    private void destroyAll() {
        try (Session session = slot.openSession()) {
            session.loginIfNeeded(Tokens.PIN);
            for (int kind : List.of(CKO.PRIVATE_KEY, CKO.PUBLIC_KEY, CKO.SECRET_KEY, CKO.CERTIFICATE)) {
                session.find(new Attribute(CKA.CLASS, kind), new Attribute(CKA.TOKEN, true))
                        .forEach(TokenObject::destroy);
            }
        }
    }

    KeyStore keyStore() throws Exception {
        KeyStore store = KeyStore.getInstance("PKCS11", provider);
        store.load(null, Tokens.PIN.toCharArray());
        return store;
    }

    boolean offers(String type, String algorithm) {
        return provider.getService(type, algorithm) != null;
    }

    static Provider jdk(String name) {
        return Security.getProvider(name);
    }

    static byte[] bytes(int length) {
        byte[] bytes = new byte[length];
        for (int i = 0; i < length; i++) {
            bytes[i] = (byte) (i * 31 + (i >> 8));
        }
        return bytes;
    }
}
