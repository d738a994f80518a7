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

    @Override
    public void close() {
        cryptoki.close();
    }
}
