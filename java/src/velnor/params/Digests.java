package velnor.params;

import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.MGF1ParameterSpec;
import java.util.Locale;

import velnor.CKD;
import velnor.CKG;
import velnor.CKM;
import velnor.CKP;

/** What PKCS#11 calls the digests that the JDK knows by names. */
enum Digests {
    SHA1(CKM.SHA_1, CKG.MGF1_SHA1, 20, CKD.SHA1_KDF, CKP.PKCS5_PBKD2_HMAC_SHA1),
    SHA224(CKM.SHA224, CKG.MGF1_SHA224, 28, CKD.SHA224_KDF, CKP.PKCS5_PBKD2_HMAC_SHA224),
    SHA256(CKM.SHA256, CKG.MGF1_SHA256, 32, CKD.SHA256_KDF, CKP.PKCS5_PBKD2_HMAC_SHA256),
    SHA384(CKM.SHA384, CKG.MGF1_SHA384, 48, CKD.SHA384_KDF, CKP.PKCS5_PBKD2_HMAC_SHA384),
    SHA512(CKM.SHA512, CKG.MGF1_SHA512, 64, CKD.SHA512_KDF, CKP.PKCS5_PBKD2_HMAC_SHA512),
    SHA512_224(CKM.SHA512_224, 0, 28, 0, CKP.PKCS5_PBKD2_HMAC_SHA512_224),
    SHA512_256(CKM.SHA512_256, 0, 32, 0, CKP.PKCS5_PBKD2_HMAC_SHA512_256),
    SHA3_224(CKM.SHA3_224, CKG.MGF1_SHA3_224, 28, CKD.SHA3_224_KDF, 0),
    SHA3_256(CKM.SHA3_256, CKG.MGF1_SHA3_256, 32, CKD.SHA3_256_KDF, 0),
    SHA3_384(CKM.SHA3_384, CKG.MGF1_SHA3_384, 48, CKD.SHA3_384_KDF, 0),
    SHA3_512(CKM.SHA3_512, CKG.MGF1_SHA3_512, 64, CKD.SHA3_512_KDF, 0);

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
