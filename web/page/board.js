// The board on the page: cm-chessboard shows a position and takes moves by pointer (drag or two
// clicks or taps) and by keyboard (Tab to the board, arrows to a square, Enter on the piece, then on
// its destination). It knows no rules: the legal moves come from the caller, and a finished move is
// handed back to it.
import { Chessboard, COLOR, INPUT_EVENT_TYPE } from 'cm-chessboard/Chessboard.js';
import { Markers, MARKER_TYPE } from 'cm-chessboard/extensions/markers/Markers.js';
import {
    PromotionDialog,
    PROMOTION_DIALOG_RESULT_TYPE,
} from 'cm-chessboard/extensions/promotion-dialog/PromotionDialog.js';
import { Accessibility } from 'cm-chessboard/extensions/accessibility/Accessibility.js';

export class Board {
    // legalMoves(square) -> [{ from, to, promotion? }] at the position shown; onMove({ from, to, promotion })
    // is called once a move is complete (after the promotion piece is chosen).
    constructor(element, { fen, orientation = 'w', legalMoves, onMove }) {
        this.legalMoves = legalMoves;
        this.onMove = onMove;
        this.fen = fen;
        this.board = new Chessboard(element, {
            position: fen,
            orientation: orientation === 'w' ? COLOR.white : COLOR.black,
            assetsUrl: './lib/cm-chessboard-assets/',
            style: { cssClass: 'default', borderType: 'none', animationDuration: 200 },
            extensions: [
                { class: Markers },
                { class: PromotionDialog },
                {
                    class: Accessibility,
                    props: {
                        language: 'en',
                        keyboardMoveInput: true,
                        movePieceForm: false,
                        boardAsTable: false,
                        piecesAsList: true,
                        brailleNotationInAlt: false,
                    },
                },
            ],
        });
        this.board.view.svg.setAttribute(
            'aria-label',
            'Chessboard: arrow keys choose a square, Enter picks a piece up and puts it down',
        );
        this.board.view.svg.setAttribute('aria-roledescription', 'chessboard');
    }

    get orientation() {
        return this.board.getOrientation() === COLOR.white ? 'w' : 'b';
    }

    setOrientation(color) {
        if (color === this.orientation) return undefined;
        return this.board.setOrientation(color === 'w' ? COLOR.white : COLOR.black, true);
    }

    flip() {
        return this.setOrientation(this.orientation === 'w' ? 'b' : 'w');
    }

    // The position, with the squares of the move that led to it marked.
    show(fen, lastMove, animated = true) {
        this.fen = fen;
        this.board.removeMarkers(MARKER_TYPE.square);
        this.board.removeLegalMovesMarkers();
        if (lastMove) {
            this.board.addMarker(MARKER_TYPE.square, lastMove.from);
            this.board.addMarker(MARKER_TYPE.square, lastMove.to);
        }
        return this.board.setPosition(fen, animated);
    }

    // Moves by the person for `color` ('w', 'b', 'both') or none (null).
    setInput(color) {
        if (this.inputColor === color) return;
        this.inputColor = color;
        if (this.board.isMoveInputEnabled()) this.board.disableMoveInput();
        if (!color) return;
        const side = { w: COLOR.white, b: COLOR.black, both: undefined }[color];
        this.board.enableMoveInput((event) => this.#input(event), side);
    }

    #input(event) {
        switch (event.type) {
            case INPUT_EVENT_TYPE.moveInputStarted: {
                const moves = this.legalMoves(event.squareFrom);
                this.board.removeLegalMovesMarkers();
                this.board.addLegalMovesMarkers(moves);
                return moves.length > 0;
            }
            case INPUT_EVENT_TYPE.validateMoveInput: {
                this.board.removeLegalMovesMarkers();
                const from = event.squareFrom;
                const to = event.squareTo;
                const moves = this.legalMoves(from).filter((move) => move.to === to);
                if (moves.length === 0) return false;
                if (moves[0].promotion) {
                    const color = moves[0].color ?? (to[1] === '8' ? 'w' : 'b');
                    // The dialog opens once the board has finished moving the pawn.
                    setTimeout(() =>
                        this.board.showPromotionDialog(to, color === 'w' ? COLOR.white : COLOR.black, (result) => {
                            if (result.type === PROMOTION_DIALOG_RESULT_TYPE.pieceSelected) {
                                this.onMove({ from, to, promotion: result.piece.charAt(1) });
                            } else {
                                this.board.setPosition(this.fen, true);
                            }
                        }),
                    );
                    return true;
                }
                // The board first moves the piece itself; the game's position (castling, en passant)
                // follows from onMove.
                setTimeout(() => this.onMove({ from, to }));
                return true;
            }
            case INPUT_EVENT_TYPE.moveInputCanceled:
                this.board.removeLegalMovesMarkers();
                return true;
            default:
                return true;
        }
    }
}
