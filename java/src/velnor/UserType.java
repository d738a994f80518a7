package velnor;

/** Who logs in to a token. */
public enum UserType {
    /** The security officer, who initialises the token and sets the user's PIN. */
    SECURITY_OFFICER(CKU.SO),
    /** The user, who owns the private objects. */
    USER(CKU.USER),
    /** The user once more, for the one operation that was just started with a key that asks for it. */
    CONTEXT_SPECIFIC(CKU.CONTEXT_SPECIFIC);

    private final byte code;

    UserType(byte code) {
        this.code = code;
    }

    /** The {@code CKU_} constant. */
    byte code() {
        return code;
    }
}
