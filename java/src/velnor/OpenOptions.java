package velnor;

import java.util.Objects;

/**
 * How a module is opened. Options never change; each method gives others.
 *
 * <pre>{@code
 * Cryptoki nss = Cryptoki.open("libsoftokn3.so", OpenOptions.DEFAULT.reserved("configdir='/home/me/nssdb'"));
 * }</pre>
 */
public final class OpenOptions {
    /** Calls as the module can take them, and no reserved text. */
    public static final OpenOptions DEFAULT = new OpenOptions(Threading.AUTOMATIC, null);

    private final Threading threading;
    private final String reserved;

    private OpenOptions(Threading threading, String reserved) {
        this.threading = threading;
        this.reserved = reserved;
    }

    /**
     * Says how the calls of several threads reach the module.
     *
     * @param wanted how
     * @return options that say so
     */
    public OpenOptions threading(Threading wanted) {
        return new OpenOptions(Objects.requireNonNull(wanted, "threading"), reserved);
    }

    /**
     * Hands a text to the module when it is initialised, where the standard reserves a pointer: NSS reads {@code
     * configdir='...'} and more there. A module that follows the standard refuses it ({@code CKR_ARGUMENTS_BAD}).
     *
     * @param text the text, which the module is given in UTF-8 with a zero behind it; null for none
     * @return options that say so
     */
    public OpenOptions reserved(String text) {
        if (text != null && text.indexOf('\0') >= 0) {
            throw new IllegalArgumentException("The reserved text has a zero in it");
        }
        return new OpenOptions(threading, text);
    }

    Threading threading() {
        return threading;
    }

    String reserved() {
        return reserved;
    }

    @Override
    public String toString() {
        return "OpenOptions[" + threading + (reserved == null ? "]" : ", with a reserved text]");
    }
}
