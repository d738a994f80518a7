package velnor.params;

import velnor.nat.Structure;

/** The parameter of {@code CKM_AES_CCM} and its like. The MAC is the end of what is encrypted. */
public final class CCMParams implements MechanismParams {
    private final long dataLength;
    private final byte[] nonce;
    private final byte[] aad;
    private final int macLength;

    /**
     * Makes the parameter.
     *
     * @param dataLength how many bytes are to be encrypted, or come out of the decryption; without the MAC
     * @param nonce the nonce, 7 to 13 bytes; never the same one twice with one key
     * @param aad the data that is authenticated and not encrypted, or null for none
     * @param macLength the length of the MAC in bytes: 4, 6, 8, 10, 12, 14 or 16
     */
    public CCMParams(long dataLength, byte[] nonce, byte[] aad, int macLength) {
        this.dataLength = dataLength;
        this.nonce = Arrays.copy(nonce);
        this.aad = Arrays.copy(aad);
        this.macLength = macLength;
    }

    @Override
    public void check() {
        Arrays.check("nonce", nonce, 0);
        Arrays.require(nonce.length >= 7 && nonce.length <= 13,
                "A CCM nonce has 7 to 13 bytes, not " + nonce.length + ": 12 are the usual number");
        Arrays.require(macLength >= 4 && macLength <= 16 && macLength % 2 == 0,
                "A CCM MAC has 4, 6, 8, 10, 12, 14 or 16 bytes, not " + macLength + ": 16 is the sound choice");
        int lengthBits = 8 * (15 - nonce.length);
        Arrays.require(dataLength >= 0 && (lengthBits >= 63 || dataLength < 1L << lengthBits),
                "CCM with a nonce of " + nonce.length + " bytes cannot take " + dataLength
                        + " bytes of data: a shorter nonce leaves room for more");
    }

    @Override
    public Structure structure() {
        return new Structure(6 * Structure.WORD).putLong(0, dataLength).putCounted(8, 16, nonce)
                .putCounted(24, 32, aad).putNumber(40, macLength);
    }
}
