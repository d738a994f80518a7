package harlune.jca;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertInstanceOf;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import harlune.support.Tokens;

import java.io.ByteArrayInputStream;
import java.io.IOException;
import java.security.InvalidKeyException;
import java.security.KeyPair;
import java.security.KeyPairGenerator;
import java.security.KeyStore;
import java.security.KeyStoreException;
import java.security.PrivateKey;
import java.security.Signature;
import java.security.SignatureException;
import java.security.UnrecoverableKeyException;
import java.security.cert.Certificate;
import java.security.cert.X509Certificate;
import java.util.Collections;
import java.util.List;
import java.util.TreeSet;

import javax.crypto.SecretKey;
import javax.crypto.spec.SecretKeySpec;

import org.junit.jupiter.api.Test;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKO;
import velnor.ObjectTemplates;
import velnor.Session;
import velnor.jca.HarluneProvider;

/** The token as a key store, seen through a second one after each change: everything has to be on the token. */
class KeyStoreTest extends JcaToken {
    private List<String> aliases(KeyStore store) throws Exception {
        return List.copyOf(new TreeSet<>(Collections.list(store.aliases())));
    }

    private void assertSigns(PrivateKey key, Certificate certificate) throws Exception {
        String algorithm = key.getAlgorithm().equals("RSA") ? "SHA256withRSA" : "SHA256withECDSA";
        Signature signing = Signature.getInstance(algorithm, provider);
        signing.initSign(key);
        signing.update(bytes(50));
        Signature checking = Signature.getInstance(algorithm);
        checking.initVerify(certificate.getPublicKey());
        checking.update(bytes(50));
        assertTrue(checking.verify(signing.sign()));
    }

    @Test
    void aProgramsKeyIsStoredAndFoundAndDeleted() throws Exception {
        X509Certificate root = Certificates.selfSigned("CN=Root", EC);
        X509Certificate leaf = Certificates.make("CN=Leaf", RSA.getPublic(), "CN=Root", EC.getPrivate());
        KeyStore store = keyStore();
        store.setKeyEntry("server", RSA.getPrivate(), null, new Certificate[] {leaf, root});
        for (KeyStore seen : List.of(store, keyStore())) {
            assertEquals(List.of("server"), aliases(seen), "the root completes a chain and is no entry");
            assertEquals(1, seen.size());
            assertTrue(seen.isKeyEntry("server"));
            assertFalse(seen.isCertificateEntry("server"));
            assertTrue(seen.entryInstanceOf("server", KeyStore.PrivateKeyEntry.class));
            assertArrayEquals(new Certificate[] {leaf, root}, seen.getCertificateChain("server"));
            assertEquals(leaf, seen.getCertificate("server"));
            assertEquals("server", seen.getCertificateAlias(leaf));
            PrivateKey key = (PrivateKey) seen.getKey("server", null);
            assertNull(key.getEncoded());
            assertSigns(key, leaf);
            KeyStore.PrivateKeyEntry entry = (KeyStore.PrivateKeyEntry) seen.getEntry("server", null);
            assertSigns(entry.getPrivateKey(), entry.getCertificate());
        }
        store.deleteEntry("server");
        assertEquals(List.of(), aliases(keyStore()));
        try (Session session = slot.openSession()) {
            for (int kind : List.of(CKO.PRIVATE_KEY, CKO.PUBLIC_KEY, CKO.CERTIFICATE)) {
                assertEquals(List.of(), session.find(new Attribute(CKA.CLASS, kind), new Attribute(CKA.TOKEN, true)));
            }
        }
    }

    @Test
    void aKeyOfTheTokensMemoryIsStored() throws Exception {
        for (String algorithm : List.of("RSA", "EC")) {
            KeyPair pair = KeyPairGenerator.getInstance(algorithm, provider).generateKeyPair();
            X509Certificate certificate = Certificates.make("CN=Token", pair.getPublic(), "CN=Root", EC.getPrivate());
            keyStore().setKeyEntry(algorithm, pair.getPrivate(), null, new Certificate[] {certificate});
            assertSigns((PrivateKey) keyStore().getKey(algorithm, null), certificate);
        }
        assertEquals(List.of("EC", "RSA"), aliases(keyStore()));
    }

    @Test
    void anEntryIsReplacedOnlyAsAWhole() throws Exception {
        X509Certificate first = Certificates.selfSigned("CN=First", RSA);
        X509Certificate second = Certificates.selfSigned("CN=Second", RSA);
        KeyStore store = keyStore();
        store.setKeyEntry("mine", RSA.getPrivate(), null, new Certificate[] {first});
        PrivateKey key = (PrivateKey) store.getKey("mine", null);
        store.setKeyEntry("mine", key, null, new Certificate[] {second});
        assertEquals(List.of("mine"), aliases(keyStore()), "the same key with the reply to its request");
        assertArrayEquals(new Certificate[] {second}, keyStore().getCertificateChain("mine"));
        assertSigns((PrivateKey) keyStore().getKey("mine", null), second);

        X509Certificate other = Certificates.selfSigned("CN=Other", EC);
        store.setKeyEntry("mine", EC.getPrivate(), null, new Certificate[] {other});
        assertEquals(List.of("mine"), aliases(keyStore()));
        assertSigns((PrivateKey) keyStore().getKey("mine", null), other);
        store.setKeyEntry("renamed", store.getKey("mine", null), null, new Certificate[] {other});
        assertEquals(List.of("renamed"), aliases(keyStore()), "the key has one name");
        assertSigns((PrivateKey) keyStore().getKey("renamed", null), other);
    }

    @Test
    void certificatesAlone() throws Exception {
        X509Certificate root = Certificates.selfSigned("CN=Root", RSA);
        X509Certificate other = Certificates.selfSigned("CN=Root 2", EC);
        KeyStore store = keyStore();
        store.setCertificateEntry("root", root);
        assertTrue(store.isCertificateEntry("root"));
        assertFalse(store.isKeyEntry("root"));
        assertNull(store.getKey("root", null));
        assertNull(store.getCertificateChain("root"));
        assertEquals(root, ((KeyStore.TrustedCertificateEntry) store.getEntry("root", null)).getTrustedCertificate());
        store.setCertificateEntry("root", other);
        assertEquals(other, keyStore().getCertificate("root"));
        assertEquals(1, keyStore().size());
        X509Certificate leaf = Certificates.make("CN=Leaf", RSA.getPublic(), "CN=Root 2", EC.getPrivate());
        store.setKeyEntry("leaf", RSA.getPrivate(), null, new Certificate[] {leaf, other});
        assertEquals(List.of("leaf", "root"), aliases(keyStore()), "a certificate of its own stays an entry");
        assertEquals(2, keyStore().getCertificateChain("leaf").length);
        assertThrows(KeyStoreException.class, () -> store.setCertificateEntry("leaf", root));
        store.deleteEntry("leaf");
        assertEquals(List.of("root"), aliases(keyStore()));
    }

    @Test
    void secretKeys() throws Exception {
        KeyStore store = keyStore();
        store.setKeyEntry("aes", new SecretKeySpec(bytes(16), "AES"), null, null);
        assertTrue(keyStore().entryInstanceOf("aes", KeyStore.SecretKeyEntry.class));
        SecretKey key = assertInstanceOf(SecretKey.class, keyStore().getKey("aes", null));
        assertEquals("AES", key.getAlgorithm());
        assertNull(key.getEncoded());
        store.setKeyEntry("aes", new SecretKeySpec(bytes(32), "AES"), null, null);
        assertEquals(1, keyStore().size());
        store.deleteEntry("aes");
        assertEquals(0, keyStore().size());
        store.deleteEntry("aes");
    }

    @Test
    void equalLabelsAreToldApartWithoutMixingUpEntries() throws Exception {
        KeyPair[] pairs = {RSA, EC};
        try (Session session = slot.openSession()) {
            for (int i = 0; i < 2; i++) {
                session.createObject(ObjectTemplates.of(pairs[i].getPrivate(), new Attribute(CKA.TOKEN, true),
                        new Attribute(CKA.LABEL, "twin"), new Attribute(CKA.ID, new byte[] {(byte) (i + 1)}),
                        new Attribute(CKA.PRIVATE, true), new Attribute(CKA.SIGN, true)));
            }
        }
        KeyStore store = keyStore();
        assertEquals(List.of("twin/01", "twin/02"), aliases(store));
        assertFalse(store.containsAlias("twin"));
        assertEquals("RSA", store.getKey("twin/01", null).getAlgorithm());
        assertEquals("EC", store.getKey("twin/02", null).getAlgorithm());
        store.deleteEntry("twin/01");
        assertEquals(List.of("twin"), aliases(keyStore()));
        assertEquals("EC", keyStore().getKey("twin", null).getAlgorithm());
    }

    @Test
    void aKeyWithoutItsCertificateCanBeUsedAllTheSame() throws Exception {
        try (Session session = slot.openSession()) {
            session.createObject(ObjectTemplates.of(RSA.getPrivate(), new Attribute(CKA.TOKEN, true),
                    new Attribute(CKA.LABEL, "bare"), new Attribute(CKA.PRIVATE, true), new Attribute(CKA.SIGN, true)));
        }
        KeyStore store = keyStore();
        assertEquals(List.of("bare"), aliases(store));
        assertNull(store.getCertificateChain("bare"));
        Signature signing = Signature.getInstance("SHA256withRSA", provider);
        signing.initSign((PrivateKey) store.getKey("bare", null));
        Signature checking = Signature.getInstance("SHA256withRSA");
        checking.initVerify(RSA.getPublic());
        assertTrue(checking.verify(signing.sign()));
    }

    @Test
    void aWrongPinIsTold() throws Exception {
        provider.logout();
        KeyStore store = KeyStore.getInstance("PKCS11", provider);
        IOException refused = assertThrows(IOException.class, () -> store.load(null, "not it".toCharArray()));
        assertInstanceOf(UnrecoverableKeyException.class, refused.getCause());
        assertThrows(IOException.class, () -> store.load(new ByteArrayInputStream(new byte[1]), null));
        assertThrows(KeyStoreException.class, store::size, "not loaded");
        store.load(null, Tokens.PIN.toCharArray());
        assertEquals(0, store.size());
        store.store(null, null);
    }

    @Test
    void storedKeysOutliveALogoutAndOthersDoNot() throws Exception {
        X509Certificate certificate = Certificates.selfSigned("CN=Mine", RSA);
        keyStore().setKeyEntry("mine", RSA.getPrivate(), null, new Certificate[] {certificate});
        PrivateKey stored = (PrivateKey) keyStore().getKey("mine", null);
        PrivateKey passing = KeyPairGenerator.getInstance("EC", provider).generateKeyPair().getPrivate();
        provider.logout();
        Signature signature = Signature.getInstance("SHA256withRSA", provider);
        signature.initSign(stored);
        signature.update(bytes(5));
        SignatureException refused = assertThrows(SignatureException.class, signature::sign);
        assertTrue(refused.getMessage().contains("login"), refused::getMessage);
        provider.login(Tokens.PIN.toCharArray());
        assertSigns(stored, certificate);
        Signature ended = Signature.getInstance("SHA256withECDSA", provider);
        ended.initSign(passing);
        SignatureException gone = assertThrows(SignatureException.class, ended::sign);
        assertInstanceOf(InvalidKeyException.class, gone.getCause());
    }

    @Test
    void sessionsThatAreGoneAreReplaced() throws Exception {
        X509Certificate certificate = Certificates.selfSigned("CN=Mine", RSA);
        keyStore().setKeyEntry("mine", RSA.getPrivate(), null, new Certificate[] {certificate});
        PrivateKey key = (PrivateKey) keyStore().getKey("mine", null);
        slot.closeAllSessions();
        provider.login(Tokens.PIN.toCharArray());
        assertSigns(key, certificate);
    }

    @Test
    void keysOfAnotherProviderAreRefused() throws Exception {
        HarluneProvider other = new HarluneProvider("other", slot);
        KeyPair pair = KeyPairGenerator.getInstance("EC", other).generateKeyPair();
        Signature signature = Signature.getInstance("SHA256withECDSA", provider);
        assertThrows(InvalidKeyException.class, () -> signature.initSign(pair.getPrivate()));
        assertThrows(InvalidKeyException.class, () -> provider.objectOf(pair.getPrivate()));
        assertEquals(CKO.PRIVATE_KEY, other.objectOf(pair.getPrivate()).objectClass());
        assertNotEquals(provider.getName(), other.getName());
    }
}
