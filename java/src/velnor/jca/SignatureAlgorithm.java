package velnor.jca;

import velnor.CKF;
import velnor.CKM;

/** A signature as Java names it, and the ways in which a token can make it. */
final class SignatureAlgorithm {
    /** What a signature is made of, and its form. */
    enum Scheme {
        /** PKCS #1 version 1.5. */
        RSA("RSA", CKM.RSA_PKCS),
        /** PKCS #1 with a salt. */
        PSS("RSA", CKM.RSA_PKCS_PSS),
        /** r and s in DER. */
        ECDSA("EC", CKM.ECDSA),
        /** r and s side by side. */
        ECDSA_P1363("EC", CKM.ECDSA),
        /** r and s in DER. */
        DSA("DSA", CKM.DSA),
        /** r and s side by side. */
        DSA_P1363("DSA", CKM.DSA),
        /** Ed25519 and Ed448. */
        EDDSA("EdDSA", CKM.EDDSA);

        private final String keyAlgorithm;
        private final int bare;

        Scheme(String keyAlgorithm, int bare) {
            this.keyAlgorithm = keyAlgorithm;
            this.bare = bare;
        }

        /** What Java calls its keys. */
        String keyAlgorithm() {
            return keyAlgorithm;
        }

        /** The mechanism that signs what it is given. */
        int bare() {
            return bare;
        }

        boolean isInDer() {
            return this == ECDSA || this == DSA;
        }

        /** The mechanism that digests, too; 0 for none. */
        int combined(Digest digest) {
            switch (this) {
                case RSA:
                    return digest.rsa();
                case PSS:
                    return digest.pss();
                case ECDSA:
                case ECDSA_P1363:
                    return digest.ecdsa();
                case DSA:
                case DSA_P1363:
                    return digest.dsa();
                default:
                    return 0;
            }
        }
    }

    private final String name;
    private final Scheme scheme;
    private final Digest digest;

    SignatureAlgorithm(String name, Scheme scheme, Digest digest) {
        this.name = name;
        this.scheme = scheme;
        this.digest = digest;
    }

    String name() {
        return name;
    }

    Scheme scheme() {
        return scheme;
    }

    /** The digest; null for none, or for one that the parameters tell. */
    Digest digest() {
        return digest;
    }

    /** Whether the token has a way. */
    boolean isOfferedBy(Token token) {
        if (scheme == Scheme.PSS && digest == null) {
            for (Digest any : Digest.values()) {
                if (mechanism(token, CKF.SIGN, any) != 0) {
                    return true;
                }
            }
        }
        return mechanism(token, CKF.SIGN, digest) != 0;
    }

    /**
     * Tells how the token does it: with the mechanism that digests, too, or with one that wants the digest.
     *
     * @param flag {@code CKF_SIGN} or {@code CKF_VERIFY}
     * @return the mechanism; 0 when the token has no way
     */
    int mechanism(Token token, int flag, Digest with) {
        int combined = with == null ? 0 : scheme.combined(with);
        return combined != 0 && token.does(flag, combined) ? combined
                : token.does(flag, scheme.bare()) ? scheme.bare() : 0;
    }
}
