package velnor.jca;

import java.util.Locale;

import velnor.CKM;
import velnor.der.Der;

/** The digests: what Java calls them, alone and within other names, and the mechanisms that have them built in. */
enum Digest {
    MD5("MD5", "MD5", "1.2.840.113549.2.5", CKM.MD5, CKM.MD5_HMAC, CKM.MD5_RSA_PKCS, 0, 0, 0),
    SHA1("SHA-1", "SHA1", "1.3.14.3.2.26", CKM.SHA_1, CKM.SHA_1_HMAC, CKM.SHA1_RSA_PKCS, CKM.SHA1_RSA_PKCS_PSS,
            CKM.ECDSA_SHA1, CKM.DSA_SHA1),
    SHA224("SHA-224", "SHA224", "2.16.840.1.101.3.4.2.4", CKM.SHA224, CKM.SHA224_HMAC, CKM.SHA224_RSA_PKCS,
            CKM.SHA224_RSA_PKCS_PSS, CKM.ECDSA_SHA224, CKM.DSA_SHA224),
    SHA256("SHA-256", "SHA256", "2.16.840.1.101.3.4.2.1", CKM.SHA256, CKM.SHA256_HMAC, CKM.SHA256_RSA_PKCS,
            CKM.SHA256_RSA_PKCS_PSS, CKM.ECDSA_SHA256, CKM.DSA_SHA256),
    SHA384("SHA-384", "SHA384", "2.16.840.1.101.3.4.2.2", CKM.SHA384, CKM.SHA384_HMAC, CKM.SHA384_RSA_PKCS,
            CKM.SHA384_RSA_PKCS_PSS, CKM.ECDSA_SHA384, CKM.DSA_SHA384),
    SHA512("SHA-512", "SHA512", "2.16.840.1.101.3.4.2.3", CKM.SHA512, CKM.SHA512_HMAC, CKM.SHA512_RSA_PKCS,
            CKM.SHA512_RSA_PKCS_PSS, CKM.ECDSA_SHA512, CKM.DSA_SHA512),
    SHA512_224("SHA-512/224", "SHA512/224", "2.16.840.1.101.3.4.2.5", CKM.SHA512_224, CKM.SHA512_224_HMAC, 0, 0, 0, 0),
    SHA512_256("SHA-512/256", "SHA512/256", "2.16.840.1.101.3.4.2.6", CKM.SHA512_256, CKM.SHA512_256_HMAC, 0, 0, 0, 0),
    SHA3_224("SHA3-224", "SHA3-224", "2.16.840.1.101.3.4.2.7", CKM.SHA3_224, CKM.SHA3_224_HMAC,
            CKM.SHA3_224_RSA_PKCS, CKM.SHA3_224_RSA_PKCS_PSS, CKM.ECDSA_SHA3_224, CKM.DSA_SHA3_224),
    SHA3_256("SHA3-256", "SHA3-256", "2.16.840.1.101.3.4.2.8", CKM.SHA3_256, CKM.SHA3_256_HMAC,
            CKM.SHA3_256_RSA_PKCS, CKM.SHA3_256_RSA_PKCS_PSS, CKM.ECDSA_SHA3_256, CKM.DSA_SHA3_256),
    SHA3_384("SHA3-384", "SHA3-384", "2.16.840.1.101.3.4.2.9", CKM.SHA3_384, CKM.SHA3_384_HMAC,
            CKM.SHA3_384_RSA_PKCS, CKM.SHA3_384_RSA_PKCS_PSS, CKM.ECDSA_SHA3_384, CKM.DSA_SHA3_384),
    SHA3_512("SHA3-512", "SHA3-512", "2.16.840.1.101.3.4.2.10", CKM.SHA3_512, CKM.SHA3_512_HMAC,
            CKM.SHA3_512_RSA_PKCS, CKM.SHA3_512_RSA_PKCS_PSS, CKM.ECDSA_SHA3_512, CKM.DSA_SHA3_512);

    private final String javaName;
    private final String nameInside;
    private final String identifier;
    private final int alone;
    private final int hmac;
    private final int rsa;
    private final int pss;
    private final int ecdsa;
    private final int dsa;

    Digest(String javaName, String nameInside, String identifier, int alone, int hmac, int rsa, int pss, int ecdsa,
            int dsa) {
        this.javaName = javaName;
        this.nameInside = nameInside;
        this.identifier = identifier;
        this.alone = alone;
        this.hmac = hmac;
        this.rsa = rsa;
        this.pss = pss;
        this.ecdsa = ecdsa;
        this.dsa = dsa;
    }

    /** Finds a digest by one of its names in Java; null when it is none of these. */
    static Digest named(String name) {
        String wanted = name.toUpperCase(Locale.ROOT);
        for (Digest digest : values()) {
            if (wanted.equals(digest.javaName) || wanted.equals(digest.nameInside)) {
                return digest;
            }
        }
        return wanted.equals("SHA") ? SHA1 : null;
    }

    /** SHA-256 and its like. */
    String javaName() {
        return javaName;
    }

    /** How the digest is called within a name such as SHA256withRSA. */
    String nameInside() {
        return nameInside;
    }

    /** The object identifier. */
    String identifier() {
        return identifier;
    }

    /** The digest itself. */
    int alone() {
        return alone;
    }

    int hmac() {
        return hmac;
    }

    /** PKCS #1 version 1.5 with the digest; 0 for none, as of the next ones. */
    int rsa() {
        return rsa;
    }

    int pss() {
        return pss;
    }

    int ecdsa() {
        return ecdsa;
    }

    int dsa() {
        return dsa;
    }

    /** What PKCS #1 version 1.5 signs of a message: the digest and which one it is. */
    byte[] info(byte[] digest) {
        return Der.sequence(Der.sequence(Der.objectIdentifier(identifier), Der.encode(Der.NULL)),
                Der.encode(Der.OCTET_STRING, digest));
    }
}
