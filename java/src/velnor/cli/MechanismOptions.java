package velnor.cli;

import java.util.Locale;
import java.util.function.IntSupplier;

import picocli.CommandLine.Option;

import velnor.CKG;
import velnor.CKM;
import velnor.CKZ;
import velnor.Mechanism;
import velnor.params.MACGENERALParams;
import velnor.params.OAEPParams;
import velnor.table.MechanismTable;

/** How: the mechanism, with the parameters that the native library can pass on. */
final class MechanismOptions {
    private enum OaepDigest {
        SHA1(CKM.SHA_1, CKG.MGF1_SHA1),
        SHA224(CKM.SHA224, CKG.MGF1_SHA224),
        SHA256(CKM.SHA256, CKG.MGF1_SHA256),
        SHA384(CKM.SHA384, CKG.MGF1_SHA384),
        SHA512(CKM.SHA512, CKG.MGF1_SHA512);

        private final int mechanism;
        private final int mgf;

        OaepDigest(int mechanism, int mgf) {
            this.mechanism = mechanism;
            this.mgf = mgf;
        }
    }

    @Option(names = "--mechanism", paramLabel = "NAME",
            description = "The mechanism by its PKCS#11 name, with or without CKM_, or its number; if not given, what"
                    + " is usual for the key.")
    private String name;

    @Option(names = "--iv", paramLabel = "HEX",
            description = "The initialisation vector, for block ciphers in CBC mode.")
    private Hex iv;

    @Option(names = "--oaep-digest", paramLabel = "DIGEST",
            description = "The digest of RSA_PKCS_OAEP and of its mask: ${COMPLETION-CANDIDATES}; SHA1 if not given.")
    private OaepDigest oaepDigest;

    @Option(names = "--oaep-label", paramLabel = "HEX", description = "The label of RSA_PKCS_OAEP; empty if not given.")
    private Hex oaepLabel;

    @Option(names = "--mac-length", paramLabel = "BYTES",
            description = "How long the MAC of a mechanism called ..._GENERAL is to be.")
    private Integer macLength;

    Mechanism mechanism(IntSupplier usual) {
        int code = name == null ? usual.getAsInt() : code(name);
        refuseStrangeParameters(code);
        if (code == CKM.RSA_PKCS_OAEP) {
            return new Mechanism(code, oaepParameter());
        }
        if (macLength != null) {
            return new Mechanism(code, new MACGENERALParams(macLength));
        }
        return iv == null ? new Mechanism(code) : new Mechanism(code, iv.bytes());
    }

    private void refuseStrangeParameters(int code) {
        boolean oaep = code == CKM.RSA_PKCS_OAEP;
        if (!oaep && (oaepDigest != null || oaepLabel != null)) {
            throw Failure.usage("--oaep-digest and --oaep-label belong to RSA_PKCS_OAEP, not to " + CKM.name(code));
        }
        if (macLength != null && iv != null || oaep && (macLength != null || iv != null)) {
            throw Failure.usage("no mechanism takes all of these parameters");
        }
        if (iv == null) {
            MechanismTable.find(code).filter(row -> row.needsParameter() && !row.parameterLengths().isEmpty())
                    .ifPresent(row -> {
                        throw Failure.usage(CKM.name(code) + " needs an initialisation vector of "
                                + row.parameterLengths().iterator().next() + " bytes, --iv");
                    });
        }
    }

    private OAEPParams oaepParameter() {
        OaepDigest digest = oaepDigest == null ? OaepDigest.SHA1 : oaepDigest;
        return new OAEPParams(digest.mechanism, digest.mgf, CKZ.DATA_SPECIFIED,
                oaepLabel == null ? null : oaepLabel.bytes());
    }

    static int code(String name) {
        if (!name.isEmpty() && Character.isDigit(name.charAt(0))) {
            return Numbers.code(name, "--mechanism");
        }
        return CKM.forName(name.toUpperCase(Locale.ROOT).replace('-', '_')).orElseThrow(
                () -> Failure.usage("PKCS#11 has no mechanism " + name + "; the command mechanisms lists the token's"));
    }
}
