package velnor.params;

import velnor.CK;
import velnor.nat.Structure;

/**
 * One of the things that a key derivation of NIST SP 800-108 feeds its pseudo-random function with, at each iteration
 * and in the order in which they are given.
 */
public final class PrfInput {
    private static final int SIZE = 3 * Structure.WORD;

    private final int type;
    private final byte[] bytes;
    private final Integer method;
    private final int bits;
    private final boolean littleEndian;

    private PrfInput(int type, byte[] bytes, Integer method, int bits, boolean littleEndian) {
        this.type = type;
        this.bytes = bytes;
        this.method = method;
        this.bits = bits;
        this.littleEndian = littleEndian;
    }

    /**
     * The number of the iteration, which counter mode iterates by.
     *
     * @param bits how wide it is: 8, 16, 24 or 32
     * @param littleEndian whether its least byte comes first
     * @return the input
     */
    public static PrfInput counter(int bits, boolean littleEndian) {
        return new PrfInput(CK.SP800_108_ITERATION_VARIABLE, null, null, bits, littleEndian);
    }

    /**
     * What feedback mode and double pipeline mode iterate by: the result before, and the value of the first pipeline.
     *
     * @return the input
     */
    public static PrfInput iteration() {
        return new PrfInput(CK.SP800_108_ITERATION_VARIABLE, null, null, 0, false);
    }

    /**
     * The number of the iteration in feedback mode and double pipeline mode, which can do without.
     *
     * @param bits how wide it is: 8, 16, 24 or 32
     * @param littleEndian whether its least byte comes first
     * @return the input
     */
    public static PrfInput optionalCounter(int bits, boolean littleEndian) {
        return new PrfInput(CK.SP800_108_OPTIONAL_COUNTER, null, null, bits, littleEndian);
    }

    /**
     * How many bits are derived.
     *
     * @param method what is counted: {@link CK#SP800_108_DKM_LENGTH_SUM_OF_KEYS} or {@link
     *        CK#SP800_108_DKM_LENGTH_SUM_OF_SEGMENTS}
     * @param bits how wide the number is: 8, 16, 24, 32, 40, 48, 56 or 64
     * @param littleEndian whether its least byte comes first
     * @return the input
     */
    public static PrfInput length(int method, int bits, boolean littleEndian) {
        return new PrfInput(CK.SP800_108_DKM_LENGTH, null, method, bits, littleEndian);
    }

    /**
     * Bytes as they are: a label, the zero between it and a context, a context.
     *
     * @param bytes the bytes
     * @return the input
     */
    public static PrfInput bytes(byte... bytes) {
        return new PrfInput(CK.SP800_108_BYTE_ARRAY, Arrays.copy(bytes), null, 0, false);
    }

    private void check() {
        if (type == CK.SP800_108_BYTE_ARRAY) {
            Arrays.check("bytes of an input", bytes, 1);
        } else if (method != null) {
            Arrays.require(method == CK.SP800_108_DKM_LENGTH_SUM_OF_KEYS
                    || method == CK.SP800_108_DKM_LENGTH_SUM_OF_SEGMENTS,
                    "A length is that of the keys or of the segments (CK.SP800_108_DKM_LENGTH_), not " + method);
            checkWidth("length", 64);
        } else if (bits != 0 || type == CK.SP800_108_OPTIONAL_COUNTER) {
            checkWidth("counter", 32);
        }
    }

    private void checkWidth(String what, int most) {
        Arrays.require(bits > 0 && bits <= most && bits % 8 == 0,
                "A " + what + " is whole bytes wide, at most " + most + " bits, not " + bits);
    }

    /** Whether it is what each iteration differs by, in counter mode a number. */
    private boolean iterates(boolean byNumber) {
        return type == CK.SP800_108_ITERATION_VARIABLE && byNumber == (bits != 0);
    }

    private void layOut(Structure structure, int at) {
        structure.putNumber(at, type);
        int pointer = at + Structure.WORD;
        int length = pointer + Structure.WORD;
        if (bytes != null) {
            structure.putCounted(pointer, length, bytes);
        } else if (bits != 0) {
            int format = method == null ? 0 : Structure.WORD;
            int size = format + 2 * Structure.WORD;
            int block = structure.point(pointer, size);
            if (method != null) {
                structure.putNumber(block, method);
            }
            structure.putBoolean(block + format, littleEndian).putNumber(block + format + Structure.WORD, bits);
            structure.putLong(length, size);
        }
    }

    /** Looks whether a function and its inputs make sense together. */
    static void check(int prf, PrfInput[] inputs, boolean byNumber) {
        Arrays.require(prf != 0, "The pseudo-random function is an HMAC or a CMAC, such as CKM.SHA256_HMAC");
        int iterating = 0;
        for (PrfInput input : inputs) {
            input.check();
            iterating += input.iterates(byNumber) ? 1 : 0;
            Arrays.require(!input.iterates(!byNumber), byNumber ? "Counter mode iterates by counter(32, false), say"
                    : "This mode iterates by iteration(); a number beside it is optionalCounter(32, false), say");
        }
        Arrays.require(iterating == 1, "Exactly one input is what the iterations differ by: "
                + (byNumber ? "counter(32, false), say" : "iteration()"));
    }

    /** Lays out what the structures of all modes begin with: the function and its inputs. */
    static void layOut(Structure structure, int prf, PrfInput[] inputs) {
        structure.putNumber(0, prf).putNumber(Structure.WORD, inputs.length);
        int at = structure.point(2 * Structure.WORD, inputs.length * SIZE);
        for (PrfInput input : inputs) {
            input.layOut(structure, at);
            at += SIZE;
        }
    }
}
