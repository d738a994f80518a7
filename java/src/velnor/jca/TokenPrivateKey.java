package velnor.jca;

import java.math.BigInteger;
import java.security.InvalidKeyException;
import java.security.PrivateKey;
import java.security.interfaces.DSAKey;
import java.security.interfaces.DSAParams;
import java.security.interfaces.ECKey;
import java.security.interfaces.RSAKey;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.ECParameterSpec;

/**
 * A private key of a token. As far as the token shows the public part, the key says how long it is and on which curve,
 * which TLS asks; it does not implement the interfaces that promise the secret part.
 */
class TokenPrivateKey extends TokenKey implements PrivateKey {
    private static final long serialVersionUID = 1L;

    TokenPrivateKey(Token token, KeyReference reference, String algorithm, boolean asksEachTime)
            throws InvalidKeyException {
        super(token, reference, algorithm, asksEachTime);
    }

    /** One that shows its modulus. */
    static final class Rsa extends TokenPrivateKey implements RSAKey {
        private static final long serialVersionUID = 1L;

        private final BigInteger modulus;

        Rsa(Token token, KeyReference reference, boolean asksEachTime, BigInteger modulus)
                throws InvalidKeyException {
            super(token, reference, "RSA", asksEachTime);
            this.modulus = modulus;
        }

        @Override
        public BigInteger getModulus() {
            return modulus;
        }

        /** There are none. Since JDK 22 two interfaces have this method, and neither goes before the other. */
        @Override
        public AlgorithmParameterSpec getParams() {
            return null;
        }
    }

    /** One on a curve that the JDK knows. */
    static final class Ec extends TokenPrivateKey implements ECKey {
        private static final long serialVersionUID = 1L;

        private final transient ECParameterSpec curve;

        Ec(Token token, KeyReference reference, boolean asksEachTime, ECParameterSpec curve)
                throws InvalidKeyException {
            super(token, reference, "EC", asksEachTime);
            this.curve = curve;
        }

        @Override
        public ECParameterSpec getParams() {
            return curve;
        }
    }

    /** One that shows its domain parameters. */
    static final class Dsa extends TokenPrivateKey implements DSAKey {
        private static final long serialVersionUID = 1L;

        private final transient DSAParams parameters;

        Dsa(Token token, KeyReference reference, boolean asksEachTime, DSAParams parameters)
                throws InvalidKeyException {
            super(token, reference, "DSA", asksEachTime);
            this.parameters = parameters;
        }

        @Override
        public DSAParams getParams() {
            return parameters;
        }
    }
}
