package velnor.params;

import velnor.CKD;
import velnor.nat.Structure;

/** The parameter of {@code CKM_X9_42_DH_DERIVE}. */
public final class X942DH1DeriveParams implements MechanismParams {
    private final int kdf;
    private final byte[] otherInfo;
    private final byte[] publicData;

    /**
     * Makes the parameter.
     *
     * @param kdf what becomes of the agreed value ({@link CKD}), such as {@link CKD#NULL}
     * @param otherInfo data that both parties know, for the derivation function; null for none
     * @param publicData the other party's public value, big-endian
     */
    public X942DH1DeriveParams(int kdf, byte[] otherInfo, byte[] publicData) {
        this.kdf = kdf;
        this.otherInfo = Arrays.copy(otherInfo);
        this.publicData = Arrays.copy(publicData);
    }

    @Override
    public void check() {
        Arrays.check("public data", publicData, 1);
        Arrays.require(kdf != CKD.NULL || Arrays.length(otherInfo) == 0,
                "Shared data is for a derivation function, and CKD_NULL is none: name one, or leave the data out");
    }

    @Override
    public Structure structure() {
        return new Structure(5 * Structure.WORD).putNumber(0, kdf).putCounted(16, 8, otherInfo)
                .putCounted(32, 24, publicData);
    }
}
