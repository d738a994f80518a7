package velnor.jca;

import velnor.CKM;

/** A transformation as Java names it, and the mechanism that does it. */
enum CipherAlgorithm {
    AES_ECB("AES/ECB/NoPadding", CKM.AES_ECB, Parameter.NONE),
    AES_CBC("AES/CBC/NoPadding", CKM.AES_CBC, Parameter.IV),
    AES_CBC_PAD("AES/CBC/PKCS5Padding", CKM.AES_CBC_PAD, Parameter.IV),
    AES_CTR("AES/CTR/NoPadding", CKM.AES_CTR, Parameter.COUNTER),
    AES_GCM("AES/GCM/NoPadding", CKM.AES_GCM, Parameter.GCM),
    RSA_PKCS1("RSA/ECB/PKCS1Padding", CKM.RSA_PKCS, Parameter.NONE),
    RSA_OAEP("RSA/ECB/OAEPPadding", CKM.RSA_PKCS_OAEP, Parameter.OAEP),
    RSA_OAEP_SHA1("RSA/ECB/OAEPWithSHA-1AndMGF1Padding", CKM.RSA_PKCS_OAEP, Parameter.OAEP),
    RSA_OAEP_SHA256("RSA/ECB/OAEPWithSHA-256AndMGF1Padding", CKM.RSA_PKCS_OAEP, Parameter.OAEP);

    /** What belongs to a transformation beside its key. */
    enum Parameter { NONE, IV, COUNTER, GCM, OAEP }

    private final String javaName;
    private final int mechanism;
    private final Parameter parameter;

    CipherAlgorithm(String javaName, int mechanism, Parameter parameter) {
        this.javaName = javaName;
        this.mechanism = mechanism;
        this.parameter = parameter;
    }

    String javaName() {
        return javaName;
    }

    int mechanism() {
        return mechanism;
    }

    Parameter parameter() {
        return parameter;
    }

    boolean isRsa() {
        return javaName.startsWith("RSA");
    }

    /** What Java calls its keys. */
    String keyAlgorithm() {
        return isRsa() ? "RSA" : "AES";
    }

    /** The digest that the name tells; SHA-1 where it tells none, as everywhere in Java. */
    String digest() {
        return this == RSA_OAEP_SHA256 ? "SHA-256" : "SHA-1";
    }

    /** Whether the token takes the input in parts. */
    boolean takesParts() {
        return !isRsa() && this != AES_GCM;
    }

    /** Whether the mechanism works on whole blocks, but for the end where it pads that. */
    boolean takesWholeBlocks() {
        return this == AES_ECB || this == AES_CBC || this == AES_CBC_PAD;
    }

    boolean isPadded() {
        return this == AES_CBC_PAD;
    }
}
