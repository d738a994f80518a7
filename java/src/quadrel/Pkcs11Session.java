package quadrel;

/** A session, by its name in the older package. {@link velnor.nat.NativeSession} is the one implementation. */
public interface Pkcs11Session {
}
