package velnor;

/**
 * The one exception by which a failure of a token, its module or the native library arrives: the function that failed,
 * a PKCS#11 return value, and a text. It is unchecked because native methods throw it without declaring it. It never
 * carries a PIN, a key or data.
 *
 * <p>A failure of the library's own, such as a null array, has code 5 ({@code CKR_GENERAL_ERROR}) and a text that says
 * what was wrong; a return value of the module keeps its own code and has that code's description.
 */
public class CryptokiException extends RuntimeException {
    private static final long serialVersionUID = 1L;

    /** The failing function's name. */
    private final String functionName;
    /** The low 32 bits of the PKCS#11 return value. */
    private final int code;
    /** The text as the native library gave it. */
    private final String rawText;

    /**
     * Makes an exception as the native library does.
     *
     * @param functionName the failing function, such as {@code J_Sign}
     * @param code the low 32 bits of the PKCS#11 return value
     * @param text what went wrong; blanks at its end belong to its padding
     */
    public CryptokiException(String functionName, int code, String text) {
        super(functionName + ": " + Texts.trim(text) + suffix(code, Texts.trim(text)));
        this.functionName = functionName;
        this.code = code;
        this.rawText = text;
    }

    /** The library's own texts travel with a code that says nothing about them. */
    private static String suffix(int code, String text) {
        if (code == CKR.GENERAL_ERROR && !text.equals("GENERAL ERROR")) {
            return "";
        }
        String name = CKR.name(code);
        return name.endsWith(Texts.hex(code)) ? " (" + name + ")" : " (" + name + ", " + Texts.hex(code) + ")";
    }

    /**
     * Tells which function failed.
     *
     * @return the native method's name, or that of its step: {@code J_SignInit} when {@code J_Sign} was to start the
     *         operation, {@code J_SeedRandom}, {@code Check64BitLen} for a number that does not fit an {@code int}
     */
    public String functionName() {
        return functionName;
    }

    /**
     * Tells the PKCS#11 return value.
     *
     * @return the code, negative for vendor-defined ones (0x80000000 and above)
     */
    public int code() {
        return code;
    }

    /**
     * Tells the name of the PKCS#11 return value.
     *
     * @return the name, such as {@code CKR_PIN_INCORRECT}; see {@link CKR#name(int)} for codes without one
     */
    public String codeName() {
        return CKR.name(code);
    }

    /**
     * Tells the PKCS#11 return value as the standard writes it.
     *
     * @return the code from 0 to 0xFFFFFFFF
     */
    public long returnValue() {
        return Integer.toUnsignedLong(code);
    }

    /**
     * Tells what went wrong.
     *
     * @return the text without its padding, such as {@code PIN INCORRECT}
     */
    public String text() {
        return Texts.trim(rawText);
    }

    /**
     * Tells what went wrong, exactly as the native library said it.
     *
     * @return the text; the description of a return value is padded with blanks to 34 characters
     */
    public String rawText() {
        return rawText;
    }
}
