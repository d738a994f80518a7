package velnor.jca;

import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Map;
import java.util.Set;

import velnor.CKF;
import velnor.CKK;
import velnor.CKM;
import velnor.jca.SignatureAlgorithm.Scheme;

/** Everything that the provider can offer, and the only place that says so. */
final class Algorithms {
    static final List<Algorithm> ALL;

    /** What is offered only where the configuration asks for it. */
    static final String DIGEST = "MessageDigest";

    private static final Map<String, String> SIGNATURE_IDENTIFIERS = Map.ofEntries(
            Map.entry("MD5withRSA", "1.2.840.113549.1.1.4"), Map.entry("SHA1withRSA", "1.2.840.113549.1.1.5"),
            Map.entry("SHA224withRSA", "1.2.840.113549.1.1.14"), Map.entry("SHA256withRSA", "1.2.840.113549.1.1.11"),
            Map.entry("SHA384withRSA", "1.2.840.113549.1.1.12"), Map.entry("SHA512withRSA", "1.2.840.113549.1.1.13"),
            Map.entry("SHA512/224withRSA", "1.2.840.113549.1.1.15"),
            Map.entry("SHA512/256withRSA", "1.2.840.113549.1.1.16"),
            Map.entry("SHA3-224withRSA", "2.16.840.1.101.3.4.3.13"),
            Map.entry("SHA3-256withRSA", "2.16.840.1.101.3.4.3.14"),
            Map.entry("SHA3-384withRSA", "2.16.840.1.101.3.4.3.15"),
            Map.entry("SHA3-512withRSA", "2.16.840.1.101.3.4.3.16"),
            Map.entry("RSASSA-PSS", "1.2.840.113549.1.1.10"),
            Map.entry("SHA1withECDSA", "1.2.840.10045.4.1"), Map.entry("SHA224withECDSA", "1.2.840.10045.4.3.1"),
            Map.entry("SHA256withECDSA", "1.2.840.10045.4.3.2"), Map.entry("SHA384withECDSA", "1.2.840.10045.4.3.3"),
            Map.entry("SHA512withECDSA", "1.2.840.10045.4.3.4"),
            Map.entry("SHA3-224withECDSA", "2.16.840.1.101.3.4.3.9"),
            Map.entry("SHA3-256withECDSA", "2.16.840.1.101.3.4.3.10"),
            Map.entry("SHA3-384withECDSA", "2.16.840.1.101.3.4.3.11"),
            Map.entry("SHA3-512withECDSA", "2.16.840.1.101.3.4.3.12"),
            Map.entry("SHA1withDSA", "1.2.840.10040.4.3"), Map.entry("SHA224withDSA", "2.16.840.1.101.3.4.3.1"),
            Map.entry("SHA256withDSA", "2.16.840.1.101.3.4.3.2"), Map.entry("SHA384withDSA", "2.16.840.1.101.3.4.3.3"),
            Map.entry("SHA512withDSA", "2.16.840.1.101.3.4.3.4"));

    static {
        List<Algorithm> all = new ArrayList<>();
        all.add(new Algorithm("KeyStore", "PKCS11", List.of(), Set.of(), TokenKeyStore.class, token -> true,
                TokenKeyStore::new));
        addKeyPairs(all, "RSA", CKK.RSA, CKM.RSA_PKCS_KEY_PAIR_GEN);
        addKeyPairs(all, "EC", CKK.EC, CKM.EC_KEY_PAIR_GEN);
        addKeyPairs(all, "EdDSA", CKK.EC_EDWARDS, CKM.EC_EDWARDS_KEY_PAIR_GEN, "Ed25519");
        addKeyPairs(all, "XDH", CKK.EC_MONTGOMERY, CKM.EC_MONTGOMERY_KEY_PAIR_GEN, "X25519");
        addSignatures(all);
        addCiphers(all);
        addMacs(all);
        addDigests(all);
        addSecretKeys(all);
        addAgreement(all, "ECDH", "EC", CKK.EC);
        addAgreement(all, "XDH", "XDH", CKK.EC_MONTGOMERY, "X25519", "X448");
        all.add(new Algorithm("SecureRandom", "PKCS11", List.of(), Set.of(), TokenRandom.class, Token::hasRandom,
                TokenRandom::new));
        ALL = Collections.unmodifiableList(all);
    }

    private Algorithms() {
    }

    private static void addKeyPairs(List<Algorithm> all, String kind, int keyType, int mechanism, String... others) {
        List<String> aliases = List.of(others);
        all.add(new Algorithm("KeyPairGenerator", kind, aliases, Set.of(), TokenKeyPairGenerator.class,
                token -> token.does(CKF.GENERATE_KEY_PAIR, mechanism),
                token -> new TokenKeyPairGenerator(token, kind, mechanism)));
        all.add(new Algorithm("KeyFactory", kind, aliases, Set.of(), TokenKeyFactory.class,
                token -> token.usesKeysOf(keyType), token -> new TokenKeyFactory(token, kind)));
    }

    private static void addCiphers(List<Algorithm> all) {
        for (CipherAlgorithm algorithm : CipherAlgorithm.values()) {
            all.add(new Algorithm("Cipher", algorithm.javaName(),
                    algorithm == CipherAlgorithm.RSA_PKCS1 ? List.of("RSA") : List.of(),
                    Set.of(algorithm.keyAlgorithm()), TokenCipher.class,
                    token -> token.does(CKF.ENCRYPT | CKF.DECRYPT, algorithm.mechanism()),
                    token -> new TokenCipher(token, algorithm)));
        }
    }

    private static void addMacs(List<Algorithm> all) {
        for (Digest digest : Digest.values()) {
            String name = "Hmac" + digest.nameInside();
            all.add(new Algorithm("Mac", name, List.of(), Set.of(name, "Generic"), TokenMac.class,
                    token -> token.does(CKF.SIGN, digest.hmac()), token -> new TokenMac(token, digest)));
        }
    }

    private static void addDigests(List<Algorithm> all) {
        for (Digest digest : Digest.values()) {
            List<String> aliases = digest == Digest.SHA1 ? List.of("SHA", "SHA1", digest.identifier())
                    : List.of(digest.identifier());
            all.add(new Algorithm(DIGEST, digest.javaName(), aliases, Set.of(), TokenDigest.class,
                    token -> token.does(CKF.DIGEST, digest.alone()), token -> new TokenDigest(token, digest)));
        }
    }

    private static void addSecretKeys(List<Algorithm> all) {
        addSecretKey(all, "AES", CKM.AES_KEY_GEN, 256);
        for (Digest digest : Digest.values()) {
            if (digest != Digest.MD5) {
                addSecretKey(all, "Hmac" + digest.nameInside(), CKM.GENERIC_SECRET_KEY_GEN, 512);
            }
        }
    }

    private static void addSecretKey(List<Algorithm> all, String name, int mechanism, int bits) {
        all.add(new Algorithm("KeyGenerator", name, List.of(), Set.of(), TokenKeyGenerator.class,
                token -> token.does(CKF.GENERATE, mechanism),
                token -> new TokenKeyGenerator(token, name, mechanism, bits)));
    }

    private static void addAgreement(List<Algorithm> all, String name, String keyAlgorithm, int keyType,
            String... others) {
        all.add(new Algorithm("KeyAgreement", name, List.of(others), Set.of(keyAlgorithm), TokenKeyAgreement.class,
                token -> token.does(CKF.DERIVE, CKM.ECDH1_DERIVE) && (keyType == CKK.EC
                        || token.does(CKF.GENERATE_KEY_PAIR, CKM.EC_MONTGOMERY_KEY_PAIR_GEN)),
                token -> new TokenKeyAgreement(token, keyAlgorithm)));
    }

    private static void addSignatures(List<Algorithm> all) {
        addSignature(all, "NONEwithRSA", Scheme.RSA, null);
        addSignature(all, "NONEwithECDSA", Scheme.ECDSA, null);
        addSignature(all, "NONEwithECDSAinP1363Format", Scheme.ECDSA_P1363, null);
        addSignature(all, "NONEwithDSA", Scheme.DSA, null);
        addSignature(all, "NONEwithDSAinP1363Format", Scheme.DSA_P1363, null);
        addSignature(all, "RSASSA-PSS", Scheme.PSS, null);
        addSignature(all, "EdDSA", Scheme.EDDSA, null, "Ed25519", "Ed448", "1.3.101.112", "1.3.101.113");
        for (Digest digest : Digest.values()) {
            String begin = digest.nameInside() + "with";
            addSignature(all, begin + "RSA", Scheme.RSA, digest);
            if (digest != Digest.MD5) {
                addSignature(all, begin + "RSASSA-PSS", Scheme.PSS, digest, begin + "RSAandMGF1");
                addSignature(all, begin + "ECDSA", Scheme.ECDSA, digest);
                addSignature(all, begin + "ECDSAinP1363Format", Scheme.ECDSA_P1363, digest);
                addSignature(all, begin + "DSA", Scheme.DSA, digest);
                addSignature(all, begin + "DSAinP1363Format", Scheme.DSA_P1363, digest);
            }
        }
    }

    private static void addSignature(List<Algorithm> all, String name, Scheme scheme, Digest digest,
            String... otherNames) {
        SignatureAlgorithm algorithm = new SignatureAlgorithm(name, scheme, digest);
        List<String> aliases = new ArrayList<>(List.of(otherNames));
        String identifier = SIGNATURE_IDENTIFIERS.get(name);
        if (identifier != null) {
            aliases.add(identifier);
            aliases.add("OID." + identifier);
        }
        all.add(new Algorithm("Signature", name, aliases, Set.of(scheme.keyAlgorithm()), TokenSignature.class,
                algorithm::isOfferedBy, token -> new TokenSignature(token, algorithm)));
    }
}
