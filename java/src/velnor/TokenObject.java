package velnor;

import java.io.ByteArrayInputStream;
import java.math.BigInteger;
import java.nio.charset.StandardCharsets;
import java.security.PublicKey;
import java.security.cert.CertificateException;
import java.security.cert.CertificateFactory;
import java.security.cert.X509Certificate;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.Objects;
import java.util.OptionalInt;
import java.util.OptionalLong;
import java.util.stream.Collectors;

import velnor.Attribute.Availability;
import velnor.nat.Function;
import velnor.nat.Structure;

/**
 * An object on a token: a key, a certificate, data. It knows the session that found or made it and works through it;
 * other sessions with the same token may use it as a key as long as that session is open.
 *
 * <p>Some modules give a private object another handle after each login: search anew then.
 */
public final class TokenObject {
    private final Session session;
    private final long handle;
    /** Class and key type, which never change; null until they are asked. */
    private volatile List<Attribute> identity;
    /** How long the modulus has turned out to be; null until it is asked. */
    private volatile OptionalInt modulusLength;
    /** Whether the object was looked at since it was changed, and nothing was missing. */
    private volatile boolean complete;

    TokenObject(Session session, long handle) {
        this.session = session;
        this.handle = handle;
    }

    /**
     * Tells the session through which the object is reached.
     *
     * @return the session
     */
    public Session session() {
        return session;
    }

    /**
     * Tells the object's handle.
     *
     * @return all 64 bits of the module's handle
     */
    public long handle() {
        return handle;
    }

    /**
     * Reads one attribute, of any length up to 64 MiB; {@link Attribute} tells what its value is.
     *
     * @param type the attribute type ({@code CKA_})
     * @return the attribute
     * @throws CryptokiException when the object does not have it ({@code CKR_ATTRIBUTE_TYPE_INVALID}) or does not give
     *        it away ({@code CKR_ATTRIBUTE_SENSITIVE}), or the token refuses for another reason
     */
    public Attribute attribute(int type) {
        return attribute(Integer.toUnsignedLong(type));
    }

    /**
     * Reads one attribute, of any length up to 64 MiB; {@link Attribute} tells what its value is.
     *
     * @param type the attribute type, all 64 bits of it
     * @return the attribute
     * @throws CryptokiException when the object does not have it ({@code CKR_ATTRIBUTE_TYPE_INVALID}) or does not give
     *        it away ({@code CKR_ATTRIBUTE_SENSITIVE}), or the token refuses for another reason
     */
    public Attribute attribute(long type) {
        Attribute read = read(type).get(0);
        if (read.availability() == Availability.SENSITIVE) {
            throw failure(CKR.ATTRIBUTE_SENSITIVE);
        }
        if (read.availability() == Availability.ABSENT) {
            throw failure(CKR.ATTRIBUTE_TYPE_INVALID);
        }
        return read;
    }

    /**
     * Reads what can be read of some attributes, in as few calls as the token lets.
     *
     * @param types the attribute types ({@code CKA_})
     * @return an attribute for each type, in this order; its {@link Attribute#availability()} tells whether the object
     *        does not have it or does not give it away, and its value is null then
     * @throws CryptokiException when the token refuses for another reason
     */
    public List<Attribute> attributes(int... types) {
        return attributes(Arrays.stream(types).mapToLong(Integer::toUnsignedLong).toArray());
    }

    /**
     * Reads what can be read of some attributes, in as few calls as the token lets.
     *
     * @param types the attribute types, all 64 bits of them
     * @return an attribute for each type, in this order; its {@link Attribute#availability()} tells whether the object
     *        does not have it or does not give it away, and its value is null then
     * @throws CryptokiException when the token refuses for another reason
     */
    public List<Attribute> attributes(long... types) {
        return Collections.unmodifiableList(read(types));
    }

    private List<Attribute> read(long... types) {
        return new AttributeReader(template -> session.attributes(Function.GET_ATTRIBUTE_VALUE, handle, template),
                TokenObject::failure).read(types);
    }

    private static CryptokiException failure(int answer) {
        return Answers.failure(Function.GET_ATTRIBUTE_VALUE, answer);
    }

    /**
     * Tells what kind of object this is.
     *
     * @return the object class ({@code CKO_})
     */
    public int objectClass() {
        return (int) number(CKA.CLASS);
    }

    /**
     * Tells the object's label.
     *
     * @return the label, empty when there is none
     */
    public String label() {
        return new String(bytes(CKA.LABEL), StandardCharsets.UTF_8);
    }

    /**
     * Tells the ID that a key pair and its certificate have in common.
     *
     * @return the ID, empty when there is none
     */
    public byte[] id() {
        return bytes(CKA.ID);
    }

    private long number(int type) {
        Attribute read = attribute(type);
        if (!(read.uncopiedValue() instanceof Long)) {
            throw Answers.nonsense(Function.GET_ATTRIBUTE_VALUE, "the pkcs#11 library tells no number for "
                    + CKA.name(type));
        }
        return read.longValue();
    }

    private byte[] bytes(int type) {
        Object value = read(type).get(0).value();
        return value == null ? new byte[0] : (byte[]) value;
    }

    /**
     * Gives the public key that the object is, or that belongs to it: of a public key, of a certificate, or of a
     * private key as far as the token shows enough of it (modulus and public exponent of RSA, or {@code
     * CKA_PUBLIC_KEY_INFO}).
     *
     * @return an RSA, EC, Edwards, Montgomery, DSA or Diffie-Hellman key of the JDK
     * @throws CryptokiException when the token refuses
     * @throws UnsupportedOperationException when the object has no public key, or does not show it, or the JDK does not
     *         know its kind or curve
     */
    public PublicKey publicKey() {
        int objectClass = objectClass();
        if (objectClass == CKO.CERTIFICATE) {
            return certificate().getPublicKey();
        }
        List<Attribute> read = new ArrayList<>(read(PublicKeys.TYPES));
        if (objectClass == CKO.PUBLIC_KEY) {
            // Of any other key that would be its secret.
            read.addAll(read(CKA.VALUE));
        }
        PublicKey key = PublicKeys.of(read);
        if (key == null) {
            throw new UnsupportedOperationException(this + " does not show a public key");
        }
        return key;
    }

    /**
     * Gives the certificate that the object is.
     *
     * @return the certificate
     * @throws CryptokiException when the token refuses, also when this is no certificate
     * @throws UnsupportedOperationException when the certificate is not of X.509, or is not on the token (but at {@code
     *         CKA_URL}), or the JDK cannot read it
     */
    public X509Certificate certificate() {
        if (number(CKA.CERTIFICATE_TYPE) != CKC.X_509) {
            throw new UnsupportedOperationException(this + " is not an X.509 certificate");
        }
        byte[] encoded = attribute(CKA.VALUE).bytesValue();
        if (encoded.length == 0) {
            throw new UnsupportedOperationException("The certificate is not on the token: CKA_VALUE of " + this
                    + " is empty");
        }
        try {
            return (X509Certificate) CertificateFactory.getInstance("X.509")
                    .generateCertificate(new ByteArrayInputStream(encoded));
        } catch (CertificateException e) {
            throw new UnsupportedOperationException("The JDK cannot read the certificate " + this, e);
        }
    }

    /**
     * Tells whether the key asks for its PIN each time it is used ({@code CKA_ALWAYS_AUTHENTICATE}).
     *
     * @return whether it does; false for one that does not tell
     */
    public boolean asksForPinEachTime() {
        return Boolean.TRUE.equals(read(CKA.ALWAYS_AUTHENTICATE).get(0).value());
    }

    /** The key type ({@code CKK_}), or empty when the object does not tell. */
    OptionalInt keyType() {
        return number(identity().get(1));
    }

    /** What the object has told of its class and key type, which never change. */
    private List<Attribute> identity() {
        if (identity == null) {
            identity = readIfTold(CKA.CLASS, CKA.KEY_TYPE);
        }
        return identity;
    }

    private static OptionalInt number(Attribute attribute) {
        Object value = attribute.value();
        return value instanceof Integer ? OptionalInt.of((Integer) value) : OptionalInt.empty();
    }

    /** How many bytes the modulus of an RSA key has, without leading zeroes; empty when the object does not tell. */
    OptionalInt modulusLength() {
        if (modulusLength == null) {
            Object modulus = readIfTold(CKA.MODULUS).get(0).value();
            modulusLength = modulus == null ? OptionalInt.empty()
                    : OptionalInt.of((new BigInteger(1, (byte[]) modulus).bitLength() + 7) / 8);
        }
        return modulusLength;
    }

    /**
     * Checks, once for each object, that a key has what no key of its class and type is without, as far as the token
     * shows it.
     *
     * @throws IllegalArgumentException when it is not complete
     */
    void requireComplete() {
        if (!complete) {
            OptionalInt objectClass = number(identity().get(0));
            if (keyType().isPresent() && objectClass.isPresent()) {
                int type = keyType().getAsInt();
                long[] essential = CompleteKeys.toBeRead(objectClass.getAsInt(), type);
                CompleteKeys.checkRead(this, type, readIfTold(essential));
                requireLengths(CompleteKeys.secrets(objectClass.getAsInt(), type));
            }
            complete = true;
        }
    }

    /** A key that is not sensitive tells how long its secrets are; they themselves are not read. */
    private void requireLengths(long... secrets) {
        if (secrets.length == 0 || !Boolean.FALSE.equals(readIfTold(CKA.SENSITIVE).get(0).value())) {
            return;
        }
        for (long secret : secrets) {
            Structure template = new Structure(Structure.ATTRIBUTE).comesBack().putLong(0, secret);
            int answer = session.attributes(Function.GET_ATTRIBUTE_VALUE, handle, template.bytes());
            if (answer == CKR.OK && template.getLong(Templates.LENGTH) == 0) {
                throw new IllegalArgumentException(this + " is not complete: its " + Attribute.name(secret)
                        + " is empty");
            }
        }
    }

    /** What the object tells; where the token refuses to tell anything, everything is absent. */
    private List<Attribute> readIfTold(long... types) {
        try {
            return read(types);
        } catch (CryptokiException untold) {
            return Arrays.stream(types).mapToObj(type -> Attribute.refused(type, Availability.ABSENT))
                    .collect(Collectors.toList());
        }
    }

    /**
     * Changes attributes.
     *
     * @param attributes what is to be different
     * @throws CryptokiException when the token refuses, then perhaps after some were changed
     */
    public void set(Attribute... attributes) {
        Structure template = Templates.structure(attributes);
        complete = false;
        try {
            Answers.require(Function.SET_ATTRIBUTE_VALUE,
                    session.attributes(Function.SET_ATTRIBUTE_VALUE, handle, template.bytes()));
        } finally {
            template.wipe();
        }
    }

    /**
     * Makes a copy.
     *
     * @param attributes what is to be different in the copy
     * @return the copy
     */
    public TokenObject copy(Attribute... attributes) {
        Structure template = Templates.structure(attributes);
        try {
            return new TokenObject(session, session.copyObject(handle, template.bytes()));
        } finally {
            template.wipe();
        }
    }

    /** Destroys the object on the token. */
    public void destroy() {
        session.destroyObject(handle);
    }

    /**
     * Tells how much memory the object takes on the token, as {@link #memorySize()} does for any number.
     *
     * @return the number of bytes, or empty when the token does not tell
     * @throws CryptokiException when the number does not fit an {@code int}
     */
    public OptionalInt size() {
        OptionalLong size = memorySize();
        return size.isPresent() ? OptionalInt.of(Numbers.fitting(size.getAsLong())) : OptionalInt.empty();
    }

    /**
     * Tells how much memory the object takes on the token.
     *
     * @return the number of bytes, or empty when the token does not tell
     */
    public OptionalLong memorySize() {
        long size = session.objectSize(handle);
        return size == CK.UNAVAILABLE_INFORMATION ? OptionalLong.empty() : OptionalLong.of(size);
    }

    @Override
    public boolean equals(Object other) {
        return other instanceof TokenObject && handle == ((TokenObject) other).handle
                && session.slot().equals(((TokenObject) other).session.slot());
    }

    @Override
    public int hashCode() {
        return Objects.hash(session.slot(), handle);
    }

    @Override
    public String toString() {
        return "TokenObject[" + Long.toUnsignedString(handle) + " in " + session + "]";
    }
}
