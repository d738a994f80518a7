package velnor;

import java.security.Key;
import java.security.PrivateKey;
import java.security.PublicKey;
import java.security.cert.CertificateEncodingException;
import java.security.cert.X509Certificate;
import java.security.interfaces.DSAParams;
import java.security.interfaces.DSAPrivateKey;
import java.security.interfaces.DSAPublicKey;
import java.security.interfaces.ECPrivateKey;
import java.security.interfaces.RSAPrivateCrtKey;
import java.security.interfaces.RSAPrivateKey;
import java.security.interfaces.RSAPublicKey;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collection;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Locale;
import java.util.Map;

import javax.crypto.SecretKey;
import javax.crypto.interfaces.DHPrivateKey;
import javax.crypto.interfaces.DHPublicKey;
import javax.crypto.spec.DHParameterSpec;

import velnor.der.Der;

/**
 * Templates for {@link Session#createObject} out of the JDK's keys and certificates. They say what the object is; what
 * it is for, its label and whether it stays on the token come from the attributes that are added, which replace those
 * of the same type. What is not said is as the token has it by default, which for a private or secret key may be that
 * its value can be read: say {@code CKA_SENSITIVE} and {@code CKA_EXTRACTABLE}.
 */
public final class ObjectTemplates {
    private ObjectTemplates() {
    }

    /**
     * Makes the template of a public key.
     *
     * @param key an RSA, EC, Edwards, Montgomery, DSA or Diffie-Hellman key
     * @param more further attributes
     * @return the template
     * @throws IllegalArgumentException when the key is of another kind, or does not tell its encoding
     */
    public static Attribute[] of(PublicKey key, Attribute... more) {
        List<Attribute> template = begin(CKO.PUBLIC_KEY);
        if (key instanceof RSAPublicKey) {
            add(template, CKA.KEY_TYPE, CKK.RSA);
            add(template, CKA.MODULUS, ((RSAPublicKey) key).getModulus());
            add(template, CKA.PUBLIC_EXPONENT, ((RSAPublicKey) key).getPublicExponent());
        } else if (key instanceof DSAPublicKey) {
            add(template, CKA.KEY_TYPE, CKK.DSA);
            addDsa(template, ((DSAPublicKey) key).getParams());
            add(template, CKA.VALUE, ((DSAPublicKey) key).getY());
        } else if (key instanceof DHPublicKey) {
            add(template, CKA.KEY_TYPE, CKK.DH);
            addDh(template, ((DHPublicKey) key).getParams());
            add(template, CKA.VALUE, ((DHPublicKey) key).getY());
        } else {
            List<Der.Element> info = encoded(key, "X.509");
            addCurve(template, key, info.get(0).sequence());
            add(template, CKA.EC_POINT, Der.encode(Der.OCTET_STRING, info.get(1).bitString()));
        }
        return with(template, more);
    }

    /**
     * Makes the template of a private key.
     *
     * @param key an RSA, EC, Edwards, Montgomery, DSA or Diffie-Hellman key that can be exported
     * @param more further attributes
     * @return the template, which has the secret
     * @throws IllegalArgumentException when the key is of another kind, or cannot be exported
     */
    public static Attribute[] of(PrivateKey key, Attribute... more) {
        List<Attribute> template = begin(CKO.PRIVATE_KEY);
        if (key instanceof RSAPrivateKey) {
            addRsa(template, (RSAPrivateKey) key);
        } else if (key instanceof DSAPrivateKey) {
            add(template, CKA.KEY_TYPE, CKK.DSA);
            addDsa(template, ((DSAPrivateKey) key).getParams());
            add(template, CKA.VALUE, ((DSAPrivateKey) key).getX());
        } else if (key instanceof DHPrivateKey) {
            add(template, CKA.KEY_TYPE, CKK.DH);
            addDh(template, ((DHPrivateKey) key).getParams());
            add(template, CKA.VALUE, ((DHPrivateKey) key).getX());
        } else {
            List<Der.Element> info = encoded(key, "PKCS#8");
            addCurve(template, key, info.get(1).sequence());
            byte[] value = info.get(2).content(Der.OCTET_STRING);
            if (key instanceof ECPrivateKey) {
                add(template, CKA.VALUE, ((ECPrivateKey) key).getS());
            } else {
                add(template, CKA.VALUE, Der.element(value).content(Der.OCTET_STRING));
            }
        }
        return with(template, more);
    }

    private static void addRsa(List<Attribute> template, RSAPrivateKey key) {
        if (!(key instanceof RSAPrivateCrtKey)) {
            throw new IllegalArgumentException("An RSA key without its public exponent and primes ends some tokens'"
                    + " processes; one that was made with them is needed");
        }
        RSAPrivateCrtKey whole = (RSAPrivateCrtKey) key;
        add(template, CKA.KEY_TYPE, CKK.RSA);
        add(template, CKA.MODULUS, whole.getModulus());
        add(template, CKA.PUBLIC_EXPONENT, whole.getPublicExponent());
        add(template, CKA.PRIVATE_EXPONENT, whole.getPrivateExponent());
        add(template, CKA.PRIME_1, whole.getPrimeP());
        add(template, CKA.PRIME_2, whole.getPrimeQ());
        add(template, CKA.EXPONENT_1, whole.getPrimeExponentP());
        add(template, CKA.EXPONENT_2, whole.getPrimeExponentQ());
        add(template, CKA.COEFFICIENT, whole.getCrtCoefficient());
    }

    /**
     * Makes the template of a secret key. A key of an algorithm that has no key type of its own here, such as one for
     * an HMAC, is a {@code CKK_GENERIC_SECRET}.
     *
     * @param key a key that can be exported
     * @param more further attributes
     * @return the template, which has the secret
     * @throws IllegalArgumentException when the key cannot be exported
     */
    public static Attribute[] of(SecretKey key, Attribute... more) {
        byte[] value = key.getEncoded();
        if (value == null || value.length == 0) {
            throw new IllegalArgumentException("The key cannot be exported");
        }
        try {
            List<Attribute> template = begin(CKO.SECRET_KEY);
            add(template, CKA.KEY_TYPE, secretType(key.getAlgorithm().toUpperCase(Locale.ROOT), value.length));
            add(template, CKA.VALUE, value);
            return with(template, more);
        } finally {
            Arrays.fill(value, (byte) 0);
        }
    }

    private static int secretType(String algorithm, int length) {
        switch (algorithm) {
            case "AES":
                return CKK.AES;
            case "DES":
                return CKK.DES;
            case "DESEDE":
            case "TRIPLEDES":
                return length == 16 ? CKK.DES2 : CKK.DES3;
            case "CHACHA20":
            case "CHACHA20-POLY1305":
                return CKK.CHACHA20;
            default:
                return CKK.GENERIC_SECRET;
        }
    }

    /**
     * Makes the template of a certificate.
     *
     * @param certificate the certificate
     * @param more further attributes, such as the {@code CKA_ID} that it has in common with its keys
     * @return the template
     * @throws IllegalArgumentException when the certificate has no encoding
     */
    public static Attribute[] of(X509Certificate certificate, Attribute... more) {
        List<Attribute> template = begin(CKO.CERTIFICATE);
        add(template, CKA.CERTIFICATE_TYPE, CKC.X_509);
        add(template, CKA.SUBJECT, certificate.getSubjectX500Principal().getEncoded());
        add(template, CKA.ISSUER, certificate.getIssuerX500Principal().getEncoded());
        add(template, CKA.SERIAL_NUMBER, Der.integer(certificate.getSerialNumber()));
        try {
            add(template, CKA.VALUE, certificate.getEncoded());
        } catch (CertificateEncodingException e) {
            throw new IllegalArgumentException("The certificate has no encoding", e);
        }
        return with(template, more);
    }

    private static List<Attribute> begin(int objectClass) {
        List<Attribute> template = new ArrayList<>();
        add(template, CKA.CLASS, objectClass);
        return template;
    }

    private static void add(List<Attribute> template, int type, Object value) {
        template.add(new Attribute(type, value));
    }

    private static void addDsa(List<Attribute> template, DSAParams parameters) {
        if (parameters == null) {
            throw new IllegalArgumentException("The key has no domain parameters");
        }
        add(template, CKA.PRIME, parameters.getP());
        add(template, CKA.SUBPRIME, parameters.getQ());
        add(template, CKA.BASE, parameters.getG());
    }

    private static void addDh(List<Attribute> template, DHParameterSpec parameters) {
        add(template, CKA.PRIME, parameters.getP());
        add(template, CKA.BASE, parameters.getG());
    }

    /** Adds key type and curve out of an algorithm identifier. */
    private static void addCurve(List<Attribute> template, Key key, List<Der.Element> algorithm) {
        int type = Curves.keyType(algorithm.get(0).encoded());
        if (type == CKK.EC && (algorithm.size() != 2 || !Curves.isWeierstrass(algorithm.get(1).encoded()))) {
            throw new IllegalArgumentException("No object of PKCS#11 is known for a key of " + key.getAlgorithm());
        }
        add(template, CKA.KEY_TYPE, type);
        add(template, CKA.EC_PARAMS, algorithm.get(type == CKK.EC ? 1 : 0).encoded());
    }

    private static List<Der.Element> encoded(Key key, String format) {
        byte[] encoded = format.equals(key.getFormat()) ? key.getEncoded() : null;
        if (encoded == null) {
            throw new IllegalArgumentException("The key of " + key.getAlgorithm() + " cannot be exported as " + format);
        }
        return Der.element(encoded).sequence();
    }

    private static Attribute[] with(Collection<Attribute> template, Attribute... more) {
        Map<Long, Attribute> all = new LinkedHashMap<>();
        template.forEach(attribute -> all.put(attribute.typeCode(), attribute));
        for (Attribute attribute : more) {
            all.put(attribute.typeCode(), attribute);
        }
        return all.values().toArray(new Attribute[0]);
    }
}
