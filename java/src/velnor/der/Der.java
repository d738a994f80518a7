package velnor.der;

import java.io.ByteArrayOutputStream;
import java.math.BigInteger;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/** As much of the distinguished encoding of ASN.1 as keys, curve points and signatures take. */
public final class Der {
    /** {@code INTEGER}. */
    public static final int INTEGER = 0x02;
    /** {@code BIT STRING}. */
    public static final int BIT_STRING = 0x03;
    /** {@code OCTET STRING}. */
    public static final int OCTET_STRING = 0x04;
    /** {@code NULL}. */
    public static final int NULL = 0x05;
    /** {@code OBJECT IDENTIFIER}. */
    public static final int OBJECT_IDENTIFIER = 0x06;
    /** {@code PrintableString}. */
    public static final int PRINTABLE_STRING = 0x13;
    /** {@code SEQUENCE}. */
    public static final int SEQUENCE = 0x30;

    private static final int LONG_FORM = 0x80;
    private static final int LENGTH_BYTES = 4;

    private Der() {
    }

    /** One element of an encoding. */
    public static final class Element {
        private final int tag;
        private final byte[] encoded;
        private final int contentAt;

        private Element(int tag, byte[] encoded, int contentAt) {
            this.tag = tag;
            this.encoded = encoded;
            this.contentAt = contentAt;
        }

        /**
         * Tells what the element is.
         *
         * @return the tag
         */
        public int tag() {
            return tag;
        }

        /**
         * Gives the whole element.
         *
         * @return a copy of the encoding
         */
        public byte[] encoded() {
            return encoded.clone();
        }

        /**
         * Gives what the element holds.
         *
         * @param expected the tag that it must have
         * @return a copy of the content
         * @throws IllegalArgumentException when it has another tag
         */
        public byte[] content(int expected) {
            if (tag != expected) {
                throw new IllegalArgumentException("Not the expected element of DER: tag " + tag + ", not " + expected);
            }
            return Arrays.copyOfRange(encoded, contentAt, encoded.length);
        }

        /**
         * Gives the elements of a sequence.
         *
         * @return the elements
         * @throws IllegalArgumentException when it is no sequence, or a broken one
         */
        public List<Element> sequence() {
            return elements(content(SEQUENCE));
        }

        /**
         * Gives a number.
         *
         * @return the number
         * @throws IllegalArgumentException when it is none
         */
        public BigInteger integer() {
            byte[] content = content(INTEGER);
            if (content.length == 0 || content.length > 1 && (content[0] == 0 && content[1] >= 0
                    || content[0] == -1 && content[1] < 0)) {
                throw new IllegalArgumentException("An INTEGER that is not the shortest in DER");
            }
            return new BigInteger(content);
        }

        /**
         * Gives the bytes of a bit string.
         *
         * @return the bytes
         * @throws IllegalArgumentException when it is none, or its bits do not fill bytes
         */
        public byte[] bitString() {
            byte[] content = content(BIT_STRING);
            if (content.length == 0 || content[0] != 0) {
                throw new IllegalArgumentException("A BIT STRING whose bits do not fill bytes");
            }
            return Arrays.copyOfRange(content, 1, content.length);
        }
    }

    /**
     * Reads one element that fills the encoding.
     *
     * @param encoded the encoding
     * @return the element
     * @throws IllegalArgumentException when it is not one whole element
     */
    public static Element element(byte[] encoded) {
        List<Element> elements = elements(encoded);
        if (elements.size() != 1) {
            throw new IllegalArgumentException("Not one element of DER but " + elements.size());
        }
        return elements.get(0);
    }

    /**
     * Reads elements that fill the encoding.
     *
     * @param encoded the encoding
     * @return the elements
     * @throws IllegalArgumentException when the last one is not whole
     */
    public static List<Element> elements(byte[] encoded) {
        List<Element> elements = new ArrayList<>();
        int at = 0;
        while (at < encoded.length) {
            int contentAt = at + 2;
            require(contentAt <= encoded.length && (encoded[at] & 0x1F) != 0x1F);
            long length = encoded[at + 1] & 0xFF;
            if (length >= LONG_FORM) {
                int bytes = (int) length - LONG_FORM;
                require(bytes > 0 && bytes <= LENGTH_BYTES && bytes <= encoded.length - contentAt);
                length = new BigInteger(1, Arrays.copyOfRange(encoded, contentAt, contentAt + bytes)).longValue();
                contentAt += bytes;
                require(length >= LONG_FORM && length >>> 8 * (bytes - 1) != 0);
            }
            require(length <= encoded.length - contentAt);
            int end = contentAt + (int) length;
            elements.add(new Element(encoded[at] & 0xFF, Arrays.copyOfRange(encoded, at, end), contentAt - at));
            at = end;
        }
        return elements;
    }

    private static void require(boolean sound) {
        if (!sound) {
            throw new IllegalArgumentException("Not DER, or cut off");
        }
    }

    /**
     * Encodes an element.
     *
     * @param tag what it is
     * @param contents what it holds, in one piece or several
     * @return the encoding
     */
    public static byte[] encode(int tag, byte[]... contents) {
        int length = Arrays.stream(contents).mapToInt(content -> content.length).reduce(0, Math::addExact);
        ByteArrayOutputStream encoded = new ByteArrayOutputStream();
        encoded.write(tag);
        if (length < LONG_FORM) {
            encoded.write(length);
        } else {
            byte[] bytes = unsigned(BigInteger.valueOf(length));
            encoded.write(LONG_FORM + bytes.length);
            encoded.writeBytes(bytes);
        }
        for (byte[] content : contents) {
            encoded.writeBytes(content);
        }
        return encoded.toByteArray();
    }

    /**
     * Encodes a sequence.
     *
     * @param elements the encodings of its elements
     * @return the encoding
     */
    public static byte[] sequence(byte[]... elements) {
        return encode(SEQUENCE, elements);
    }

    /**
     * Encodes a number.
     *
     * @param number the number
     * @return the encoding
     */
    public static byte[] integer(BigInteger number) {
        return encode(INTEGER, number.toByteArray());
    }

    /**
     * Encodes a bit string of whole bytes.
     *
     * @param bytes the bytes
     * @return the encoding
     */
    public static byte[] bitString(byte[] bytes) {
        return encode(BIT_STRING, new byte[1], bytes);
    }

    /**
     * Encodes an object identifier.
     *
     * @param dotted its numbers, such as {@code 1.2.840.113549.1.1.1}
     * @return the encoding
     */
    public static byte[] objectIdentifier(String dotted) {
        String[] numbers = dotted.split("\\.");
        ByteArrayOutputStream content = new ByteArrayOutputStream();
        for (int i = 1; i < numbers.length; i++) {
            BigInteger number = new BigInteger(numbers[i]);
            if (i == 1) {
                number = number.add(BigInteger.valueOf(40L * Integer.parseInt(numbers[0])));
            }
            for (int shift = Math.max(0, (number.bitLength() - 1) / 7) * 7; shift >= 0; shift -= 7) {
                int septet = number.shiftRight(shift).intValue() & 0x7F;
                content.write(shift == 0 ? septet : septet | 0x80);
            }
        }
        return encode(OBJECT_IDENTIFIER, content.toByteArray());
    }

    /**
     * The bytes of a number, most significant first, without leading zeroes; zero is one byte.
     *
     * @param number the number, which is not negative
     * @return the bytes
     */
    public static byte[] unsigned(BigInteger number) {
        if (number.signum() < 0) {
            throw new IllegalArgumentException("A negative number");
        }
        byte[] bytes = number.toByteArray();
        return bytes.length > 1 && bytes[0] == 0 ? Arrays.copyOfRange(bytes, 1, bytes.length) : bytes;
    }
}
