package harlune.matrix;

import harlune.support.Bridge;
import harlune.support.Tokens;

import velnor.Cryptoki;
import velnor.OpenOptions;
import velnor.TokenSlot;

/** The token at hand, its module open through the surface. */
final class OpenToken implements AutoCloseable {
    private static final OpenOptions OPTIONS = OpenOptions.DEFAULT.reserved(Tokens.RESERVED);

    private Cryptoki cryptoki;
    private TokenSlot slot;

    OpenToken() {
        Bridge.load();
        open();
    }

    void open() {
        cryptoki = Cryptoki.open(Tokens.MODULE, OPTIONS);
        slot = cryptoki.tokenByLabel(Tokens.LABEL);
    }

    Cryptoki cryptoki() {
        return cryptoki;
    }

    TokenSlot slot() {
        return slot;
    }

    /**
     * Whether the module reads a mechanism's parameter again after the operation was started, where the caller had it;
     * by then it is gone, and the module may end the process. This is tpm2-pkcs11, whoever passes the parameter on.
     */
    boolean keepsParameters() {
        return slot.tokenInfo().model().endsWith("TPM");
    }

    @Override
    public void close() {
        cryptoki.close();
    }
}
