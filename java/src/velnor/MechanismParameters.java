package velnor;

import java.util.Objects;
import java.util.Optional;

import velnor.params.MechanismParams;
import velnor.table.MechanismRow;
import velnor.table.MechanismTable;

/**
 * Whether a mechanism has the parameter that it takes. A token reads it as what belongs to the mechanism, so a mistake
 * here would be foreign memory.
 */
final class MechanismParameters {
    private MechanismParameters() {
    }

    /**
     * Looks whether a token can be given the mechanism as it is.
     *
     * @return the mechanism
     * @throws IllegalArgumentException when the parameter is not one that the mechanism takes, or is missing
     */
    static Mechanism check(Mechanism mechanism) {
        Objects.requireNonNull(mechanism, "mechanism");
        Object parameter = mechanism.parameter();
        Optional<MechanismRow> row = MechanismTable.find(mechanism.mechanism());
        if (row.isPresent()) {
            row.get().check(parameter);
        } else if (parameter != null && !(parameter instanceof byte[] || parameter instanceof MechanismParams)) {
            throw new IllegalArgumentException(CKM.name(mechanism.mechanism())
                    + " takes a parameter of byte[] or of a class of velnor.params, not "
                    + parameter.getClass().getTypeName());
        }
        if (parameter instanceof MechanismParams) {
            ((MechanismParams) parameter).check();
        }
        return mechanism;
    }
}
