package velnor.jca;

import java.io.IOException;
import java.security.AlgorithmParameters;
import java.security.GeneralSecurityException;
import java.security.InvalidKeyException;
import java.security.Key;
import java.security.PrivateKey;
import java.security.PublicKey;
import java.security.spec.DSAParameterSpec;
import java.security.spec.ECParameterSpec;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

import javax.crypto.SecretKey;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CKO;
import velnor.CryptokiException;
import velnor.ObjectTemplates;
import velnor.TokenObject;

/** Java keys made of a token's objects, and objects made of Java keys. */
final class TokenKeys {
    private static final int[] SHOWN = {CKA.CLASS, CKA.KEY_TYPE, CKA.MODULUS, CKA.EC_PARAMS, CKA.PRIME, CKA.SUBPRIME,
            CKA.BASE};

    private TokenKeys() {
    }

    /**
     * Makes the key of a private or secret key object.
     *
     * @throws InvalidKeyException when it is of no kind that Java has a name for
     */
    static TokenKey of(Token token, KeyReference reference) throws InvalidKeyException {
        return of(token, reference, null);
    }

    /** Makes the key, a secret key with a name of its own. */
    static TokenKey of(Token token, KeyReference reference, String secretName) throws InvalidKeyException {
        boolean made = false;
        try {
            TokenKey key = shown(token, reference, secretName);
            made = true;
            return key;
        } catch (CryptokiException e) {
            throw new InvalidKeyException("The token does not tell what the key is: " + e.getMessage(),
                    token.noted(e));
        } finally {
            if (!made) {
                reference.run();
            }
        }
    }

    private static TokenKey shown(Token token, KeyReference reference, String secretName) throws InvalidKeyException {
        TokenObject object = reference.object();
        List<Attribute> read = object.attributes(SHOWN);
        int type = read.get(1).intValue();
        boolean asks = object.asksForPinEachTime();
        if (read.get(0).intValue() == CKO.SECRET_KEY) {
            return new TokenSecretKey(token, reference, secretName == null ? secretName(type) : secretName, asks);
        }
        switch (type) {
            case CKK.RSA:
                return present(read.get(2))
                        ? new TokenPrivateKey.Rsa(token, reference, asks, read.get(2).bigIntegerValue())
                        : new TokenPrivateKey(token, reference, "RSA", asks);
            case CKK.EC:
                ECParameterSpec curve = present(read.get(3)) ? curve(read.get(3).bytesValue()) : null;
                return curve == null ? new TokenPrivateKey(token, reference, "EC", asks)
                        : new TokenPrivateKey.Ec(token, reference, asks, curve);
            case CKK.DSA:
                return present(read.get(4)) && present(read.get(5)) && present(read.get(6))
                        ? new TokenPrivateKey.Dsa(token, reference, asks,
                                new DSAParameterSpec(read.get(4).bigIntegerValue(), read.get(5).bigIntegerValue(),
                                        read.get(6).bigIntegerValue()))
                        : new TokenPrivateKey(token, reference, "DSA", asks);
            case CKK.DH:
                return new TokenPrivateKey(token, reference, "DH", asks);
            case CKK.EC_EDWARDS:
                return new TokenPrivateKey(token, reference, "EdDSA", asks);
            case CKK.EC_MONTGOMERY:
                return new TokenPrivateKey(token, reference, "XDH", asks);
            default:
                throw new InvalidKeyException("Java has no name for keys of " + CKK.name(type));
        }
    }

    private static boolean present(Attribute attribute) {
        return attribute.availability() == Attribute.Availability.PRESENT;
    }

    /** The curve; null when the JDK does not know it. */
    private static ECParameterSpec curve(byte[] parameters) {
        try {
            AlgorithmParameters decoded = AlgorithmParameters.getInstance("EC");
            decoded.init(parameters);
            return decoded.getParameterSpec(ECParameterSpec.class);
        } catch (IOException | GeneralSecurityException unknown) {
            return null;
        }
    }

    private static String secretName(int type) {
        switch (type) {
            case CKK.AES:
                return "AES";
            case CKK.DES3:
            case CKK.DES2:
                return "DESede";
            case CKK.CHACHA20:
                return "ChaCha20";
            default:
                return "Generic";
        }
    }

    /**
     * Gives the key that the token works with: the one that is there, or a copy that lives as long as it is used.
     *
     * @throws InvalidKeyException when the key is on another token, or the token does not take it
     */
    static TokenKey usable(Token token, Key key, Attribute... uses) throws InvalidKeyException {
        if (key instanceof TokenKey) {
            if (((TokenKey) key).token() != token) {
                throw new InvalidKeyException(key + " does not belong to " + token);
            }
            return (TokenKey) key;
        }
        if (key == null) {
            throw new InvalidKeyException("There is no key");
        }
        List<Attribute> all = new ArrayList<>(Arrays.asList(uses));
        all.add(new Attribute(CKA.TOKEN, false));
        if (!(key instanceof PublicKey)) {
            token.requireLogin();
        }
        Attribute[] template = template(key, all.toArray(new Attribute[0]));
        KeyReference reference = token.create(template);
        return key instanceof PublicKey ? new TokenPublicKey(token, reference, key.getAlgorithm())
                : of(token, reference, key.getAlgorithm());
    }

    /** The template that makes an object of a Java key. */
    static Attribute[] template(Key key, Attribute... more) throws InvalidKeyException {
        try {
            if (key instanceof PublicKey) {
                return ObjectTemplates.of((PublicKey) key, more);
            }
            if (key instanceof PrivateKey) {
                return ObjectTemplates.of((PrivateKey) key, more);
            }
            if (key instanceof SecretKey) {
                return ObjectTemplates.of((SecretKey) key, more);
            }
        } catch (IllegalArgumentException e) {
            throw new InvalidKeyException(e.getMessage(), e);
        }
        throw new InvalidKeyException("A token has private, public and secret keys, not " + key.getClass().getName());
    }
}
