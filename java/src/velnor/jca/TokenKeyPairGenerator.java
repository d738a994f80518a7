package velnor.jca;

import java.io.IOException;
import java.lang.ref.Reference;
import java.security.AlgorithmParameters;
import java.security.GeneralSecurityException;
import java.security.InvalidAlgorithmParameterException;
import java.security.InvalidKeyException;
import java.security.InvalidParameterException;
import java.security.KeyPair;
import java.security.KeyPairGeneratorSpi;
import java.security.PrivateKey;
import java.security.ProviderException;
import java.security.PublicKey;
import java.security.SecureRandom;
import java.security.spec.AlgorithmParameterSpec;
import java.security.spec.ECGenParameterSpec;
import java.security.spec.ECParameterSpec;
import java.security.spec.NamedParameterSpec;
import java.security.spec.RSAKeyGenParameterSpec;
import java.util.ArrayList;
import java.util.List;
import java.util.Locale;
import java.util.Map;

import velnor.Attribute;
import velnor.CKA;
import velnor.CryptokiException;
import velnor.Mechanism;
import velnor.TokenKeyPair;
import velnor.der.Der;

/**
 * Key pairs, made by the token. The private key lives in its memory until a key store takes it or it is collected, and
 * cannot be exported; the public key is a key of the JDK's.
 */
final class TokenKeyPairGenerator extends KeyPairGeneratorSpi {
    private static final int RSA_BITS = 2048;
    private static final Map<Integer, String> CURVES = Map.of(224, "secp224r1", 256, "secp256r1", 384, "secp384r1", 521,
            "secp521r1");
    private static final Map<String, String> SHORT_CURVES = Map.of("ED25519", "1.3.101.112", "ED448", "1.3.101.113",
            "X25519", "1.3.101.110", "X448", "1.3.101.111");

    private final Token token;
    private final String algorithm;
    private final int mechanism;
    private Attribute[] parameters;

    TokenKeyPairGenerator(Token token, String algorithm, int mechanism) {
        this.token = token;
        this.algorithm = algorithm;
        this.mechanism = mechanism;
        if (algorithm.equals("RSA")) {
            initialize(RSA_BITS, null);
        } else {
            initialize(algorithm.equals("EC") ? 256 : 255, null);
        }
    }

    @Override
    public void initialize(int bits, SecureRandom ignored) {
        try {
            switch (algorithm) {
                case "RSA":
                    initialize(new RSAKeyGenParameterSpec(bits, RSAKeyGenParameterSpec.F4), ignored);
                    return;
                case "EC":
                    require(CURVES.containsKey(bits), "There is no curve for " + bits + " bits");
                    initialize(new ECGenParameterSpec(CURVES.get(bits)), ignored);
                    return;
                default:
                    require(bits == 255 || bits == 448, "Such a key has 255 bits, or 448, not " + bits);
                    initialize(new NamedParameterSpec((algorithm.equals("XDH") ? "X" : "Ed")
                            + (bits == 255 ? "25519" : "448")), ignored);
            }
        } catch (InvalidAlgorithmParameterException e) {
            throw (InvalidParameterException) new InvalidParameterException(e.getMessage()).initCause(e);
        }
    }

    private static void require(boolean sound, String text) throws InvalidAlgorithmParameterException {
        if (!sound) {
            throw new InvalidAlgorithmParameterException(text);
        }
    }

    @Override
    public void initialize(AlgorithmParameterSpec spec, SecureRandom ignored)
            throws InvalidAlgorithmParameterException {
        if (algorithm.equals("RSA")) {
            require(spec instanceof RSAKeyGenParameterSpec, "RSA takes an RSAKeyGenParameterSpec");
            RSAKeyGenParameterSpec rsa = (RSAKeyGenParameterSpec) spec;
            require(rsa.getKeysize() >= 512, "RSA keys of " + rsa.getKeysize() + " bits are no keys");
            parameters = new Attribute[] {new Attribute(CKA.MODULUS_BITS, rsa.getKeysize()),
                new Attribute(CKA.PUBLIC_EXPONENT, rsa.getPublicExponent())};
        } else {
            parameters = new Attribute[] {new Attribute(CKA.EC_PARAMS, curve(spec))};
        }
    }

    private byte[] curve(AlgorithmParameterSpec spec) throws InvalidAlgorithmParameterException {
        if (!algorithm.equals("EC")) {
            String name = spec instanceof NamedParameterSpec ? ((NamedParameterSpec) spec).getName()
                    : spec instanceof ECGenParameterSpec ? ((ECGenParameterSpec) spec).getName() : "";
            String upper = name.toUpperCase(Locale.ROOT);
            String identifier = SHORT_CURVES.get(upper);
            boolean agrees = algorithm.equals("XDH");
            require(identifier != null && upper.startsWith("X") == agrees,
                    algorithm + " takes a NamedParameterSpec such as " + (agrees ? "X25519" : "Ed25519"));
            return Der.objectIdentifier(identifier);
        }
        require(spec instanceof ECGenParameterSpec || spec instanceof ECParameterSpec,
                "EC takes an ECGenParameterSpec or ECParameterSpec");
        try {
            AlgorithmParameters curve = AlgorithmParameters.getInstance("EC");
            curve.init(spec);
            return curve.getEncoded();
        } catch (GeneralSecurityException | IOException e) {
            throw new InvalidAlgorithmParameterException("The curve is not known: " + e.getMessage(), e);
        }
    }

    @Override
    public KeyPair generateKeyPair() {
        token.requireLogin();
        List<Attribute> publicTemplate = new ArrayList<>(List.of(parameters));
        publicTemplate.add(new Attribute(CKA.TOKEN, false));
        publicTemplate.addAll(Uses.ofPublicKey(algorithm));
        List<Attribute> privateTemplate = new ArrayList<>(List.of(new Attribute(CKA.TOKEN, false),
                new Attribute(CKA.PRIVATE, true), new Attribute(CKA.SENSITIVE, true),
                new Attribute(CKA.EXTRACTABLE, false)));
        privateTemplate.addAll(Uses.ofPrivateKey(algorithm));
        PooledSession session = token.take();
        try {
            TokenKeyPair pair = session.session().generateKeyPair(new Mechanism(mechanism),
                    publicTemplate.toArray(new Attribute[0]), privateTemplate.toArray(new Attribute[0]));
            TokenKey privateKey = TokenKeys.of(token, new KeyReference(token, session, pair.privateKey(), false));
            try {
                PublicKey publicKey = pair.publicKey().publicKey();
                pair.publicKey().destroy();
                return new KeyPair(publicKey, (PrivateKey) privateKey);
            } finally {
                Reference.reachabilityFence(privateKey);
            }
        } catch (CryptokiException e) {
            throw new ProviderException("The token makes no key pair: " + e.getMessage(), token.noted(e));
        } catch (InvalidKeyException | UnsupportedOperationException e) {
            throw new ProviderException(e.getMessage(), e);
        } finally {
            token.sessions().giveBack(session);
        }
    }
}
