package quadrel;

/**
 * The random data of an SSL 3 handshake, by its name in the older package. The native library reads the fields of
 * {@link velnor.params.SSL3RANDOMDATA}, which must be the implementation.
 */
public interface Pkcs11SSL3RANDOMDATA {
}
