package velnor.params;

import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.MGF1ParameterSpec;
import java.util.Locale;

import velnor.CKG;
import velnor.CKM;

/** What PKCS#11 calls the digests that the JDK knows by names. */
enum Digests {
    SHA1(CKM.SHA_1, CKG.MGF1_SHA1, 20, 2, 1),
    SHA224(CKM.SHA224, CKG.MGF1_SHA224, 28, 5, 3),
    SHA256(CKM.SHA256, CKG.MGF1_SHA256, 32, 6, 4),
    SHA384(CKM.SHA384, CKG.MGF1_SHA384, 48, 7, 5),
    SHA512(CKM.SHA512, CKG.MGF1_SHA512, 64, 8, 6),
    SHA512_224(CKM.SHA512_224, 0, 28, 0, 7),
    SHA512_256(CKM.SHA512_256, 0, 32, 0, 8),
    SHA3_224(0x2B5, 6, 28, 0xA, 0),
    SHA3_256(0x2B0, 7, 32, 0xB, 0),
    SHA3_384(0x2C0, 8, 48, 0xC, 0),
    SHA3_512(0x2D0, 9, 64, 0xD, 0);

    private final int mechanism;
    private final int maskGeneration;
    private final int length;
    private final int keyDerivation;
    private final int pseudoRandom;

    Digests(int mechanism, int maskGeneration, int length, int keyDerivation, int pseudoRandom) {
        this.mechanism = mechanism;
        this.maskGeneration = maskGeneration;
        this.length = length;
        this.keyDerivation = keyDerivation;
        this.pseudoRandom = pseudoRandom;
    }

    /** Finds a digest by a name such as SHA-256, SHA-512/256 or SHA3-256. */
    static Digests named(String name) {
        String wanted = name.toUpperCase(Locale.ROOT);
        if (wanted.equals("SHA")) {
            return SHA1;
        }
        for (Digests digest : values()) {
            String constant = digest.name();
            if (wanted.replace("SHA3-", "SHA3_").replace("/", "_").replace("-", "").equals(constant)) {
                return digest;
            }
        }
        throw new IllegalArgumentException("No digest of PKCS#11 is called " + name + "; SHA-256 is one");
    }

    /** Finds the digest of a mask generation function, which must be MGF1. */
    static Digests ofMask(String algorithm, AlgorithmParameterSpec parameters) {
        if (!algorithm.equalsIgnoreCase("MGF1") || !(parameters instanceof MGF1ParameterSpec)) {
            throw new IllegalArgumentException("The mask generation function must be MGF1 with its digest, not "
                    + algorithm);
        }
        return named(((MGF1ParameterSpec) parameters).getDigestAlgorithm());
    }

    /** The digest itself ({@code CKM_}). */
    int mechanism() {
        return mechanism;
    }

    /** MGF1 with the digest ({@code CKG_}). */
    int maskGeneration() {
        return defined(maskGeneration, "mask generation function");
    }

    /** Bytes of a digest. */
    int length() {
        return length;
    }

    /** ANSI X9.63 key derivation with the digest ({@code CKD_}). */
    int keyDerivation() {
        return defined(keyDerivation, "key derivation function");
    }

    /** HMAC with the digest as the pseudo-random function of PBKDF2 ({@code CKP_}). */
    int pseudoRandom() {
        return defined(pseudoRandom, "pseudo-random function");
    }

    private int defined(int code, String what) {
        if (code == 0) {
            throw new IllegalArgumentException("PKCS#11 has no " + what + " with " + name() + "; SHA-256 has one");
        }
        return code;
    }
}
