package velnor.jca;

import java.lang.ref.Reference;
import java.nio.charset.StandardCharsets;
import java.security.GeneralSecurityException;
import java.security.InvalidKeyException;
import java.security.KeyStoreException;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.security.PrivateKey;
import java.security.ProviderException;
import java.security.PublicKey;
import java.security.SecureRandom;
import java.security.cert.CertificateEncodingException;
import java.security.cert.X509Certificate;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.LinkedHashMap;
import java.util.LinkedHashSet;
import java.util.List;
import java.util.Map;
import java.util.Set;
import java.util.TreeMap;
import java.util.stream.Collectors;

import javax.crypto.SecretKey;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKO;
import velnor.CryptokiException;
import velnor.ObjectTemplates;
import velnor.Session;
import velnor.TokenObject;
import velnor.der.Der;

/**
 * What is on a token, as a key store shows it. A private key and its certificate, which have the same ID, are one entry
 * under the certificate's label; a certificate that only completes chains is none, unless it has a label of its own.
 *
 * <p>Entries with the same label get what follows from their ID, or from themselves, behind it: an alias never passes
 * from one entry to another.
 */
final class StoredEntries {
    private static final int DIGITS = 16;

    /** A certificate with its object. */
    private static final class Stored {
        private final TokenObject object;
        private final X509Certificate certificate;
        private final String label;
        private final byte[] id;

        private Stored(TokenObject object, X509Certificate certificate) {
            this.object = object;
            this.certificate = certificate;
            label = object.label();
            id = object.id();
        }
    }

    /** An entry that has no alias yet. */
    private static final class Nameless {
        private final String label;
        private final String mark;
        private final StoredEntry entry;

        private Nameless(String label, StoredEntry entry, byte[] itself) {
            this.label = label;
            this.entry = entry;
            mark = hex(entry.id().length > 0 ? entry.id() : Arrays.copyOf(digest(itself), DIGITS / 2));
        }
    }

    private final Token token;
    private final List<Stored> certificates;
    private final Map<String, StoredEntry> entries = new LinkedHashMap<>();

    private StoredEntries(Token token, List<Stored> certificates) {
        this.token = token;
        this.certificates = certificates;
    }

    // ---- reading

    /** Reads the token. Private objects are among it when somebody is logged in. */
    static StoredEntries read(Token token) {
        PooledSession session = token.take();
        try {
            StoredEntries read = new StoredEntries(token, readCertificates(session.session()));
            read.readEntries(session);
            return read;
        } catch (CryptokiException e) {
            throw token.noted(e);
        } finally {
            token.sessions().giveBack(session);
        }
    }

    private static List<Stored> readCertificates(Session session) {
        List<Stored> certificates = new ArrayList<>();
        for (TokenObject object : stored(session, CKO.CERTIFICATE)) {
            try {
                certificates.add(new Stored(object, object.certificate()));
            } catch (UnsupportedOperationException notOfX509) {
                // The JDK has no use for it.
            }
        }
        return certificates;
    }

    private static List<TokenObject> stored(Session session, int objectClass, Attribute... more) {
        List<Attribute> template = new ArrayList<>(Arrays.asList(more));
        template.add(new Attribute(CKA.TOKEN, true));
        template.add(new Attribute(CKA.CLASS, objectClass));
        return session.find(template.toArray(new Attribute[0]));
    }

    private void readEntries(PooledSession session) {
        List<Nameless> nameless = new ArrayList<>();
        Set<Stored> used = new LinkedHashSet<>();
        for (int keyClass : new int[] {CKO.PRIVATE_KEY, CKO.SECRET_KEY}) {
            for (TokenObject object : stored(session.session(), keyClass)) {
                TokenKey key = key(session, object);
                if (key != null) {
                    nameless.add(keyEntry(object, key, keyClass == CKO.PRIVATE_KEY, used));
                }
            }
        }
        Set<X509Certificate> inChains = new LinkedHashSet<>();
        used.forEach(leaf -> inChains.addAll(chain(leaf.certificate)));
        for (Stored stored : certificates) {
            if (!used.contains(stored) && !(stored.label.isEmpty() && inChains.contains(stored.certificate))) {
                nameless.add(new Nameless(stored.label,
                        new StoredEntry(null, stored.certificate, stored.object, stored.id),
                        encoded(stored.certificate)));
            }
        }
        name(nameless);
    }

    /** The key; null for one that Java has no name for. */
    private TokenKey key(PooledSession session, TokenObject object) {
        try {
            return TokenKeys.of(token, new KeyReference(token, session, object, true));
        } catch (InvalidKeyException unnamed) {
            return null;
        }
    }

    private Nameless keyEntry(TokenObject object, TokenKey key, boolean isPrivate, Set<Stored> used) {
        byte[] id = object.id();
        Stored certificate = isPrivate && id.length > 0 ? certificates.stream()
                .filter(stored -> Arrays.equals(stored.id, id) && !used.contains(stored))
                .findFirst().orElse(null) : null;
        if (certificate == null) {
            return new Nameless(object.label(), new StoredEntry(key, null, null, id), itself(object));
        }
        used.add(certificate);
        return new Nameless(certificate.label.isEmpty() ? object.label() : certificate.label,
                new StoredEntry(key, certificate.certificate, certificate.object, id),
                encoded(certificate.certificate));
    }

    /** What tells a key without an ID from others, as long as the token does not change it. */
    private static byte[] itself(TokenObject object) {
        List<Attribute> shown = object.attributes(CKA.CLASS, CKA.KEY_TYPE, CKA.MODULUS, CKA.EC_POINT, CKA.SUBJECT);
        return shown.toString().getBytes(StandardCharsets.UTF_8);
    }

    private void name(List<Nameless> nameless) {
        Map<String, List<Nameless>> byLabel = new TreeMap<>();
        nameless.forEach(one -> byLabel.computeIfAbsent(one.label, label -> new ArrayList<>()).add(one));
        byLabel.forEach((label, group) -> {
            if (group.size() == 1 && !label.isEmpty()) {
                entries.put(label, group.get(0).entry);
                return;
            }
            Map<String, Long> marks = group.stream()
                    .collect(Collectors.groupingBy(one -> one.mark, TreeMap::new, Collectors.counting()));
            // What nothing tells apart on the token has no alias: it could be another one next time.
            group.stream().filter(one -> marks.get(one.mark) == 1)
                    .forEach(one -> entries.putIfAbsent(
                            label.isEmpty() ? one.mark : label + '/' + one.mark, one.entry));
        });
    }

    private static String hex(byte[] bytes) {
        StringBuilder hex = new StringBuilder();
        for (byte b : bytes) {
            hex.append(Character.forDigit(b >> 4 & 0xF, 16)).append(Character.forDigit(b & 0xF, 16));
        }
        return hex.toString();
    }

    private static byte[] digest(byte[] bytes) {
        try {
            return MessageDigest.getInstance("SHA-256").digest(bytes);
        } catch (NoSuchAlgorithmException e) {
            throw new ProviderException(e);
        }
    }

    private static byte[] encoded(X509Certificate certificate) {
        try {
            return certificate.getEncoded();
        } catch (CertificateEncodingException e) {
            throw new ProviderException(e);
        }
    }

    // ---- looking

    Set<String> aliases() {
        return Collections.unmodifiableSet(entries.keySet());
    }

    Map<String, StoredEntry> all() {
        return Collections.unmodifiableMap(entries);
    }

    /** The entry; null when there is none. */
    StoredEntry entry(String alias) {
        return entries.get(alias);
    }

    /** The certificate of an entry and those above it, as far as the token has them. */
    List<X509Certificate> chain(StoredEntry entry) {
        return chain(entry.certificate());
    }

    private List<X509Certificate> chain(X509Certificate leaf) {
        List<X509Certificate> chain = new ArrayList<>();
        for (X509Certificate next = leaf; next != null && !chain.contains(next); next = issuer(next)) {
            chain.add(next);
        }
        return chain;
    }

    /** The issuer; null when the token does not have it, or for a certificate that has issued itself. */
    private X509Certificate issuer(X509Certificate certificate) {
        if (certificate.getIssuerX500Principal().equals(certificate.getSubjectX500Principal())) {
            return null;
        }
        return certificates.stream().map(stored -> stored.certificate)
                .filter(other -> other.getSubjectX500Principal().equals(certificate.getIssuerX500Principal())
                        && hasSigned(other, certificate))
                .findFirst().orElse(null);
    }

    private static boolean hasSigned(X509Certificate issuer, X509Certificate certificate) {
        try {
            certificate.verify(issuer.getPublicKey());
            return true;
        } catch (GeneralSecurityException e) {
            return false;
        }
    }

    // ---- changing

    void setCertificate(String alias, X509Certificate certificate) throws KeyStoreException {
        StoredEntry old = entries.get(alias);
        if (old != null && old.key() != null) {
            throw new KeyStoreException("There is a key of this alias");
        }
        replace(old, certificate, new Attribute(CKA.LABEL, alias),
                new Attribute(CKA.ID, id(certificate.getPublicKey())));
    }

    /**
     * Stores a certificate in place of an entry's. The old one goes last, except with a token that has no two
     * certificates of one label (NSS); should the new one be refused then, the old one comes back.
     */
    private void replace(StoredEntry old, X509Certificate certificate, Attribute... names) {
        TokenObject object = old == null ? null : old.certificateObject();
        Attribute[] template = stored(certificate, names);
        try {
            create(template);
        } catch (CryptokiException e) {
            if (object == null) {
                throw e;
            }
            Attribute[] before = stored(old.certificate(), new Attribute(CKA.LABEL, object.label()),
                    new Attribute(CKA.ID, object.id()));
            object.destroy();
            object = null;
            createOr(before, template);
        }
        if (object != null) {
            object.destroy();
        }
    }

    private static Attribute[] stored(X509Certificate certificate, Attribute... names) {
        List<Attribute> all = new ArrayList<>(Arrays.asList(names));
        all.add(new Attribute(CKA.TOKEN, true));
        return ObjectTemplates.of(certificate, all.toArray(new Attribute[0]));
    }

    private void createOr(Attribute[] before, Attribute... template) {
        boolean created = false;
        try {
            create(template);
            created = true;
        } finally {
            if (!created) {
                create(before);
            }
        }
    }

    private TokenObject create(Attribute... template) {
        return token.with(session -> session.createObject(template));
    }

    /** An ID for the objects of a key pair: the digest of the public key, as certificates have it, too. */
    private static byte[] id(PublicKey key) throws KeyStoreException {
        try {
            return MessageDigest.getInstance("SHA-1")
                    .digest(Der.element(key.getEncoded()).sequence().get(1).bitString());
        } catch (NoSuchAlgorithmException | IllegalArgumentException e) {
            throw new KeyStoreException("The public key has no encoding", e);
        }
    }

    void setSecretKey(String alias, SecretKey key) throws InvalidKeyException, KeyStoreException {
        StoredEntry old = entries.get(alias);
        if (old != null && old.key() != null && old.key().equals(key)) {
            return;
        }
        byte[] id = newId();
        if (key instanceof TokenKey) {
            copy((TokenKey) key, new Attribute(CKA.TOKEN, true), new Attribute(CKA.LABEL, alias),
                    new Attribute(CKA.ID, id));
        } else {
            create(TokenKeys.template(key, new Attribute(CKA.TOKEN, true), new Attribute(CKA.PRIVATE, true),
                    new Attribute(CKA.SENSITIVE, true), new Attribute(CKA.LABEL, alias), new Attribute(CKA.ID, id),
                    new Attribute(CKA.ENCRYPT, true), new Attribute(CKA.DECRYPT, true), new Attribute(CKA.SIGN, true),
                    new Attribute(CKA.VERIFY, true), new Attribute(CKA.WRAP, true), new Attribute(CKA.UNWRAP, true)));
        }
        if (old != null) {
            destroy(old);
        }
    }

    private static byte[] newId() {
        byte[] id = new byte[DIGITS / 2];
        new SecureRandom().nextBytes(id);
        return id;
    }

    private TokenObject copy(TokenKey key, Attribute... attributes) throws InvalidKeyException {
        TokenObject object = TokenKeys.usable(token, key).object();
        try {
            return object.copy(attributes);
        } finally {
            Reference.reachabilityFence(key);
        }
    }

    void setPrivateKey(String alias, PrivateKey key, X509Certificate... chain)
            throws InvalidKeyException, KeyStoreException {
        StoredEntry old = entries.get(alias);
        StoredEntry same = entries.values().stream().filter(entry -> entry.key() != null && entry.key().equals(key))
                .findFirst().orElse(null);
        byte[] id = same != null && same.id().length > 0 ? same.id() : id(chain[0].getPublicKey());
        Attribute[] names = {new Attribute(CKA.LABEL, alias), new Attribute(CKA.ID, id)};
        TokenObject added = null;
        if (same == null) {
            added = store(key, names);
        } else {
            if (old != null && old != same) {
                destroy(old);
            }
            same.key().object().set(names);
        }
        boolean certified = false;
        try {
            replace(same != null ? same : old, chain[0], names);
            certified = true;
        } finally {
            if (!certified && added != null) {
                added.destroy();
            }
        }
        if (same == null && old != null) {
            destroyBeside(old);
        }
        for (int i = 1; i < chain.length; i++) {
            X509Certificate above = chain[i];
            if (certificates.stream().noneMatch(stored -> stored.certificate.equals(above))) {
                create(ObjectTemplates.of(above, new Attribute(CKA.TOKEN, true), new Attribute(CKA.LABEL, ""),
                        new Attribute(CKA.ID, id(above.getPublicKey()))));
            }
        }
    }

    /** Stores a private key: a program's own, or one that the token has only in its memory. */
    private TokenObject store(PrivateKey key, Attribute... names) throws InvalidKeyException {
        List<Attribute> all = new ArrayList<>(Arrays.asList(names));
        all.add(new Attribute(CKA.TOKEN, true));
        if (key instanceof TokenKey) {
            return copy((TokenKey) key, all.toArray(new Attribute[0]));
        }
        all.add(new Attribute(CKA.PRIVATE, true));
        all.add(new Attribute(CKA.SENSITIVE, true));
        all.addAll(Uses.ofPrivateKey(key.getAlgorithm()));
        return create(TokenKeys.template(key, all.toArray(new Attribute[0])));
    }

    void delete(String alias) throws InvalidKeyException {
        StoredEntry entry = entries.get(alias);
        if (entry != null) {
            destroy(entry);
        }
    }

    private void destroy(StoredEntry entry) throws InvalidKeyException {
        if (entry.certificateObject() != null) {
            entry.certificateObject().destroy();
        }
        destroyBeside(entry);
    }

    /** Destroys the key of an entry, the public key that belongs to it and the certificates that only it needs. */
    private void destroyBeside(StoredEntry entry) throws InvalidKeyException {
        if (entry.key() != null) {
            entry.key().object().destroy();
        }
        if (!(entry.key() instanceof PrivateKey)) {
            return;
        }
        if (entry.id().length > 0) {
            token.with(session -> {
                stored(session, CKO.PUBLIC_KEY, new Attribute(CKA.ID, entry.id())).forEach(TokenObject::destroy);
                return null;
            });
        }
        if (entry.certificate() != null) {
            Set<X509Certificate> needed = new LinkedHashSet<>();
            entries.values().stream()
                    .filter(other -> other != entry && other.key() != null && other.certificate() != null)
                    .forEach(other -> needed.addAll(chain(other)));
            List<X509Certificate> above = chain(entry);
            certificates.stream().filter(stored -> stored.label.isEmpty() && above.indexOf(stored.certificate) > 0
                    && !needed.contains(stored.certificate)).forEach(stored -> stored.object.destroy());
        }
    }
}
